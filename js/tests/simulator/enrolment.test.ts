import { mkdtemp, readFile, rm, writeFile } from 'node:fs/promises';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { afterEach, beforeEach, expect, test } from 'vitest';

import { nationalCode, openssl, startPhone, userInfo } from './phone.js';

let folder: string;

beforeEach(async () => {
  folder = await mkdtemp(join(tmpdir(), 'kavrel-crypto-'));
});

afterEach(() => rm(folder, { recursive: true }));

/** Has OpenSSL issue a certificate for the request in `csr`. */
async function issue(): Promise<string> {
  await openssl(folder, 'req', '-x509', '-newkey', 'rsa:2048', '-noenc', '-keyout', 'ca.key', '-out', 'ca.pem',
    '-subj', '/CN=Test authority', '-days', '1'); // prettier-ignore
  await openssl(folder, 'x509', '-req', '-inform', 'DER', '-in', 'csr', '-CA', 'ca.pem', '-CAkey', 'ca.key',
    '-days', '1', '-out', 'certificate.pem'); // prettier-ignore
  return readFile(join(folder, 'certificate.pem'), 'utf8');
}

test('a person is enrolled and signs, and OpenSSL accepts the request and the signature', async () => {
  const phone = await startPhone({ prompts: 'match' });
  expect(await phone.call('ensureKey', { nationalCode })).toEqual({ ok: true });

  const { csrPem } = (await phone.call('createCSR', { userInfo })) as { csrPem: string };
  await writeFile(join(folder, 'csr'), Buffer.from(csrPem, 'base64'));
  expect(await openssl(folder, 'req', '-inform', 'DER', '-in', 'csr', '-verify', '-noout', '-subject')).toMatch(
    /self-signature verify OK/,
  );

  const certPem = await issue();
  expect(await phone.call('storeCertificate', { nationalCode, certPem })).toEqual({ stored: true });
  expect(await phone.call('getCertificate', { nationalCode })).toEqual({ certPem });

  const digest = Buffer.from('any bytes are signed');
  const digestB64 = digest.toString('base64');
  const signed = (await phone.call('signDigest', { nationalCode, digestB64 })) as { signatureB64: string };
  expect(signed).toEqual({ signatureB64: expect.any(String), algo: 'RSA_SHA256', digestB64 });
  await writeFile(join(folder, 'digest'), digest);
  await writeFile(join(folder, 'signature'), Buffer.from(signed.signatureB64, 'base64'));
  await openssl(folder, 'x509', '-in', 'certificate.pem', '-pubkey', '-noout', '-out', 'key.pem');
  expect(await openssl(folder, 'dgst', '-sha256', '-verify', 'key.pem', '-signature', 'signature', 'digest')).toBe(
    'Verified OK\n',
  );
});
