import { AsnConvert } from '@peculiar/asn1-schema';
import { Certificate } from '@peculiar/asn1-x509';
import { X509Certificate } from 'node:crypto';
import { describe, expect, test } from 'vitest';

import { ecKey, useOpenSSL } from './openssl.js';
import type { Simulator } from './phone.js';
import { nationalCode, outcomeOf, startPhone, userInfo } from './phone.js';

const openssl = useOpenSSL();

/** Makes the person's key and has the phone write a request for it. */
async function requestFrom(phone: Simulator): Promise<string> {
  await phone.call('ensureKey', { nationalCode });
  return ((await phone.call('createCSR', { userInfo })) as { csrPem: string }).csrPem;
}

test('OpenSSL accepts the request, which names the person and holds the key', async () => {
  const phone = await startPhone();
  await openssl.write('request', Buffer.from(await requestFrom(phone), 'base64'));
  const printed = await openssl.run('req', '-inform', 'DER', '-in', 'request', '-verify', '-subject', '-pubkey',
    '-noout', '-nameopt', 'utf8,sep_comma_plus'); // prettier-ignore
  expect(printed).toContain('self-signature verify OK');
  expect(printed).toContain(
    'subject=ST=Fars,L=Shiraz,CN=0012345678,SN=Mohammadi,GN=Sara,serialNumber=0012345678,postalCode=1234567890\n',
  );
  const { publicKeyPem } = (await phone.call('getKeyInfo', { nationalCode })) as { publicKeyPem: string };
  await openssl.write('key.pem', publicKeyPem.replaceAll('PUBLIC KEY', 'RSA PUBLIC KEY'));
  const [key] = (await openssl.run('rsa', '-RSAPublicKey_in', '-in', 'key.pem', '-pubout')).match(/^-+BEGIN.+?END/ms)!;
  expect(printed).toContain(key);
});

test('OpenSSL accepts the signatures, with the key in the certificate', async () => {
  const phone = await startPhone({ prompts: 'match' });
  await openssl.issue(await requestFrom(phone));
  await openssl.run('x509', '-in', 'certificate.pem', '-pubkey', '-noout', '-out', 'key.pem');
  for (const digest of [Buffer.from('any bytes are signed'), Buffer.alloc(32, 0xff), Buffer.alloc(0)]) {
    const digestB64 = digest.toString('base64');
    const signed = (await phone.call('signDigest', { nationalCode, digestB64 })) as { signatureB64: string };
    expect(signed).toEqual({ signatureB64: expect.any(String), algo: 'RSA_SHA256', digestB64 });
    await openssl.write('digest', digest);
    await openssl.write('signature', Buffer.from(signed.signatureB64, 'base64'));
    const verdict = await openssl.run('dgst', '-sha256', '-verify', 'key.pem', '-signature', 'signature', 'digest');
    expect(verdict).toBe('Verified OK\n');
  }
});

describe('a certificate that OpenSSL issued is stored', () => {
  const rsa = ['-newkey', 'rsa:2048'];
  test.each<[string, string[], string[]]>([
    ['of version 1', ecKey, []],
    ['of version 3, with what the request asks for', ecKey, ['-copy_extensions', 'copyall']],
    ['with a long serial number', ecKey, ['-set_serial', `0x7${'f'.repeat(39)}`]],
    ['with a negative serial number', ecKey, ['-set_serial', '-1']],
    ['that is valid beyond 2049', ecKey, ['-days', '20000']],
    ['signed with RSA', rsa, []],
    ['signed with SHA-512', rsa, ['-sha512']],
    ['signed with RSASSA-PSS', rsa, ['-sigopt', 'rsa_padding_mode:pss']],
    ['signed with ECDSA', ecKey, []],
    ['signed with Ed25519', ['-newkey', 'ed25519'], []],
  ])('%s', async (_, authority, certificate) => {
    const phone = await startPhone();
    const certPem = await openssl.issue(await requestFrom(phone), authority, certificate);
    expect(await phone.call('storeCertificate', { nationalCode, certPem })).toEqual({ stored: true });
    expect(await phone.call('getCertificate', { nationalCode })).toEqual({ certPem });
    expect(await phone.call('getKeyInfo', { nationalCode })).toMatchObject({ certificate: certPem });
  });
});

test.each([
  ['issuerUniqueID', 'Issuer Unique ID'],
  ['subjectUniqueID', 'Subject Unique ID'],
] as const)('a certificate with an %s is stored', async (member, words) => {
  const phone = await startPhone();
  const issued = new X509Certificate(
    await openssl.issue(await requestFrom(phone), ecKey, ['-copy_extensions', 'copyall']),
  );
  const certificate = AsnConvert.parse(issued.raw, Certificate);
  certificate.tbsCertificate[member] = Uint8Array.of(1, 2, 3).buffer;
  certificate.tbsCertificateRaw = undefined;
  const certPem = new X509Certificate(Buffer.from(AsnConvert.serialize(certificate))).toString();
  await openssl.write('certificate.pem', certPem);
  expect(await openssl.run('x509', '-in', 'certificate.pem', '-noout', '-text')).toContain(words);
  expect(await phone.call('storeCertificate', { nationalCode, certPem })).toEqual({ stored: true });
});

describe('a certificate is refused, and the one in the slot stays,', () => {
  test.each([
    ['for another RSA key', ['-newkey', 'rsa:2048']],
    ['for an EC key', ecKey],
    ['for an Ed25519 key', ['-newkey', 'ed25519']],
  ])('%s', async (_, key) => {
    const phone = await startPhone();
    const csrPem = await requestFrom(phone);
    const certPem = await openssl.issue(csrPem);
    await phone.call('storeCertificate', { nationalCode, certPem });
    await openssl.issue(csrPem, key); // only for the authority's own certificate
    const another = await openssl.run('x509', '-in', 'ca.pem');
    const refused = phone.call('storeCertificate', { nationalCode, certPem: another });
    expect(await outcomeOf(refused)).toBe('Certificate is not valid');
    expect(await phone.call('getCertificate', { nationalCode })).toEqual({ certPem });
  });
});
