import { compactVerify, importX509 } from 'jose';
import { X509Certificate, createHash, sign } from 'node:crypto';
import { writeFile } from 'node:fs/promises';
import { createRequire } from 'node:module';
import { join } from 'node:path';
import { build } from 'vite';
import { beforeEach, describe, expect, inject, test } from 'vitest';

import type { Signer } from '../src/documents/index.js';

import { run } from './app.js';
import { ecKey, useOpenSSL } from './simulator/openssl.js';
import { installed, nationalCode, startPhone, userInfo } from './simulator/phone.js';

// eslint-disable-next-line @typescript-eslint/consistent-type-imports
type Package = typeof import('../src/documents/index.js');

const { deviceSigner, signCMS, signJWS }: Package = await import(installed('documents/index.js'));
const openssl = useOpenSSL();

/** Has an authority issue a certificate for a new key, or the holder of the key itself. Returns both in PEM. */
async function issue(name: string, authority: string | null, subject: string, key: string[]): Promise<string[]> {
  const keyFile = `${name}.key`;
  const issuer = authority ? ['-CA', `${authority}.pem`, '-CAkey', `${authority}.key`] : [];
  const request = ['-x509', ...key, '-noenc', '-keyout', keyFile, '-out', `${name}.pem`, '-config', 'config'];
  await openssl.run('req', ...request, ...issuer, '-utf8', '-subj', subject);
  return Promise.all([openssl.run('x509', '-in', `${name}.pem`), openssl.run('pkey', '-in', keyFile)]);
}

const rsaKey = ['-newkey', 'rsa:2048'];
const authorityKey = [...ecKey, '-addext', 'basicConstraints=critical,CA:TRUE'];
const withKey = (certificate: string, key: string): Signer => ({
  certificate,
  sign: async (bytes) => sign('sha256', bytes, key),
});

/** The certificates of two authorities, and a person with a certificate from the lower one. */
let root: string;
let intermediate: string;
let person: Signer;

beforeEach(async () => {
  // Names of the oldest kinds, which a library that reads and writes them might write otherwise.
  await openssl.write('config', 'string_mask = MASK:0x804\n[req]\ndistinguished_name = name\n[name]\n');
  [root] = await issue('root', null, '/CN=Root/O=شرکت', authorityKey);
  [intermediate] = await issue('intermediate', 'root', '/CN=Intermediate ‌é/O=شرکت', authorityKey);
  const [certificate, key] = await issue('person', 'intermediate', '/CN=0012345678/GN=سارا', rsaKey);
  person = withKey(certificate, key);
});

const content = Uint8Array.from({ length: 1000 }, (_, index) => index);

/** Has OpenSSL verify a SignedData. Rejects if it refuses. Returns what it prints. */
async function verify(der: Uint8Array, ...options: string[]): Promise<string> {
  await openssl.write('signature.p7s', der);
  const file = ['-inform', 'DER', '-in', 'signature.p7s', '-binary', '-out', 'verified'];
  return openssl.run('cms', '-verify', '-cades', '-purpose', 'any', '-CAfile', 'root.pem', ...file, ...options);
}

async function verifyDetached(der: Uint8Array, data = content): Promise<string> {
  await openssl.write('content', data);
  return verify(der, '-content', 'content');
}

const success = 'CAdES Verification successful';

describe('a CMS signature', () => {
  test('by a person on a phone is one that OpenSSL accepts as CAdES', async () => {
    const phone = await startPhone({ prompts: 'match' });
    const { csrPem } = (await phone.call('createCSR', { userInfo })) as { csrPem: string };
    const authority = [...ecKey, '-addext', 'keyUsage=keyCertSign'];
    const certPem = await openssl.issue(csrPem, authority, ['-copy_extensions', 'copyall']);
    await phone.call('storeCertificate', { nationalCode, certPem });
    await openssl.write('root.pem', await openssl.run('x509', '-in', 'ca.pem'));

    const signer = await deviceSigner(nationalCode);
    expect(signer.certificate).toBe(certPem);
    expect(await verifyDetached(await signCMS(content, signer))).toContain(success);
  });

  test('is refused when a byte of the content is another', async () => {
    const der = await signCMS(content, person, { chain: intermediate });
    expect(await verifyDetached(der)).toContain(success);
    await expect(
      verifyDetached(
        der,
        content.map((byte, index) => (index === 500 ? ~byte : byte)),
      ),
    ).rejects.toThrow('content verify error');
  });

  test('carries the chain, so that whoever checks it needs the root alone', async () => {
    const from = (chain?: string) => signCMS(content, person, { chain }).then((der) => verifyDetached(der));
    expect(await from(intermediate)).toContain(success);
    expect(await from(intermediate + root)).toContain(success);
    await expect(from()).rejects.toThrow('unable to get local issuer certificate');
  });

  test.each([0, 127, 128, 65_536, 20_000_000])('carries a content of %i bytes if it is attached', async (size) => {
    const large = Buffer.alloc(size, 'content');
    const der = await signCMS(large, person, { attached: true, chain: intermediate });
    expect(await verify(der)).toContain(success);
    expect(await openssl.run('dgst', '-sha256', '-r', 'verified')).toMatch(
      new RegExp(`^${createHash('sha256').update(large).digest('hex')}`),
    );
  });

  test('of a content is that of its SHA-256, however the bytes are held', async () => {
    const sha256 = createHash('sha256').update(content).digest();
    const expected = await signCMS(content, person);
    for (const same of [
      { sha256 },
      { sha256: new Uint8Array(sha256).buffer },
      content.buffer,
      new DataView(content.buffer),
    ]) {
      expect(await signCMS(same, person)).toEqual(expected);
    }
    expect(await signCMS(new Uint8Array([9, ...content]).subarray(1), person)).toEqual(expected);
  });

  test('has the attributes of a PDF, and the time as well if it is given', async () => {
    const attributes = async (signingTime?: Date) => {
      await openssl.write('signature.p7s', await signCMS(content, person, { signingTime }));
      const printed = await openssl.run('cms', '-cmsout', '-print', '-noout', '-inform', 'DER', '-in', 'signature.p7s');
      return printed;
    };
    const types = (printed: string) => [...printed.matchAll(/object: (\S+) \(/g)].map(([, type]) => type).sort();
    const always = ['contentType', 'id-smime-aa-signingCertificateV2', 'messageDigest'];
    expect(types(await attributes())).toEqual(always);
    const timed = await attributes(new Date('2026-01-31T12:34:56.789Z'));
    expect(types(timed)).toEqual([...always, 'signingTime']);
    expect(timed).toContain('UTCTIME:Jan 31 12:34:56 2026 GMT');
    expect(await attributes(new Date('2050-01-01T00:00:00.5Z'))).toContain('GENERALIZEDTIME:Jan  1 00:00:00 2050 GMT');
  });

  test.each([false, true])(
    'is DER, as OpenSSL would write it, and holds the very certificates; attached: %s',
    async (attached) => {
      const der = await signCMS(content, person, { attached, chain: intermediate + root, signingTime: new Date() });
      await openssl.write('signature.p7s', der);
      const again = ['-cmsout', '-inform', 'DER', '-in', 'signature.p7s', '-outform', 'DER', '-out', 'again'];
      await openssl.run('cms', ...again);
      expect(await openssl.run('base64', '-A', '-in', 'again')).toBe(Buffer.from(der).toString('base64'));
      for (const certificate of [person.certificate, intermediate, root]) {
        expect(Buffer.from(der).includes(new X509Certificate(certificate).raw)).toBe(true);
      }
    },
  );

  test('is made without a copy of the content', async () => {
    await writeFile(
      join(inject('app'), 'memory.mjs'),
      `import { readFileSync } from 'node:fs';
      import { sign } from 'node:crypto';
      import { signCMS } from 'kavrel-crypto/documents';
      const [certificate, key] = JSON.parse(process.argv[2]);
      const signer = { certificate, sign: async (bytes) => sign('sha256', bytes, key) };
      await signCMS(new Uint8Array(1000), signer, { attached: true });
      const content = new Uint8Array(64 << 20).fill(1);
      const peak = () => Number(readFileSync('/proc/self/status', 'utf8').match(/VmHWM:\\s+(\\d+)/)[1]) * 1024;
      const before = peak();
      await signCMS(content, signer);
      const detached = peak() - before;
      const { length } = await signCMS(content, signer, { attached: true });
      console.log(JSON.stringify([detached, peak() - before - length]));`,
    );
    const key = await openssl.run('pkey', '-in', 'person.key');
    const program = ['memory.mjs', JSON.stringify([person.certificate, key])];
    const { stdout } = await run(process.execPath, program, { cwd: inject('app') });
    for (const bytes of JSON.parse(stdout)) expect(bytes).toBeLessThan(8 << 20);
  });
});

describe('a token', () => {
  const verifyToken = async (token: string) => compactVerify(token, await importX509(person.certificate, 'RS256'));

  test.each([
    ['a text', '{"name":"سارا"}', '{"name":"سارا"}'],
    ['bytes', new TextEncoder().encode('سارا').buffer, 'سارا'],
    ['nothing', '', ''],
    ['two megabytes', 'x'.repeat(2_000_000), 'x'.repeat(2_000_000)],
  ])('of %s is one that jose accepts', async (_, payload, expected) => {
    const verified = await verifyToken(await signJWS(payload, person));
    expect(new TextDecoder().decode(verified.payload)).toBe(expected);
    const x5c = [new X509Certificate(person.certificate).raw.toString('base64')];
    expect(verified.protectedHeader).toEqual({ alg: 'RS256', x5c });
  });

  test('has the members of the header that are given, and the chain', async () => {
    const x5c = [person.certificate, intermediate].map((pem) => new X509Certificate(pem).raw.toString('base64'));
    const header = { typ: 'contract+jwt', alg: 'RS256', x5c };
    expect((await verifyToken(await signJWS('{}', person, { header }))).protectedHeader).toEqual(header);
  });

  test('can be without its payload', async () => {
    const [protectedHeader, payload, signature] = (await signJWS('{"a":1}', person, { detached: true })).split('.');
    expect(payload).toBe('');
    await verifyToken([protectedHeader, Buffer.from('{"a":1}').toString('base64url'), signature].join('.'));
  });
});

/** Has the signer sign both kinds of document. Returns why it could not, which is the same for both. */
async function refusal(signer: Signer): Promise<string> {
  const attempts = [signCMS(content, signer), signJWS('{}', signer)];
  const [cms, jws] = await Promise.all(
    attempts.map((attempt) =>
      attempt.then(
        () => 'signed',
        ({ message }) => message,
      ),
    ),
  );
  expect(jws).toBe(cms);
  return cms;
}

describe('what cannot be signed is refused in one sentence', () => {
  test('for a device that keeps no certificate', async () => {
    await startPhone();
    await expect(deviceSigner(nationalCode)).rejects.toThrow(
      /^The device keeps no certificate: have one issued and store it first\.$/,
    );
  });

  test('for a person who cancels: it is the sentence of the plugin', async () => {
    const phone = await startPhone({ prompts: 'match' });
    const { csrPem } = (await phone.call('createCSR', { userInfo })) as { csrPem: string };
    await phone.call('storeCertificate', { nationalCode, certPem: await openssl.issue(csrPem) });
    const signer = await deviceSigner(nationalCode);
    phone.prompts = 'cancel';
    expect(await refusal(signer)).toBe('sign_failed');
  });

  test.each([
    [
      'with a certificate that is none',
      { certificate: 'x' },
      `The signer's certificate is not an X.509 certificate in PEM.`,
    ],
    ['without a certificate', { certificate: null }, `The signer's certificate is not an X.509 certificate in PEM.`],
    ['that answers with a text', { sign: async () => 'x' }, 'The signer did not answer with the bytes of a signature.'],
    [
      'that answers nothing',
      { sign: async () => undefined },
      'The signer did not answer with the bytes of a signature.',
    ],
    [
      'that answers with other bytes',
      { sign: async () => new Uint8Array(256) },
      /^The signature is not one by the key/,
    ],
    [
      'that answers with too few bytes',
      { sign: async () => new Uint8Array(0) },
      /^The signature is not one by the key/,
    ],
  ])('for a signer %s', async (_, wrong, message) => {
    expect(await refusal({ ...person, ...wrong } as Signer)).toMatch(message);
  });

  test('for a certificate of which a part is missing', async () => {
    const [begin, ...lines] = person.certificate.trim().split('\n');
    const end = lines.pop()!;
    for (const kept of [0, 1, 5, lines.length - 1]) {
      const certificate = [begin, ...lines.slice(0, kept), end].join('\n');
      expect(await refusal({ ...person, certificate })).toMatch(/is not an X\.509 certificate in PEM\.$/);
    }
  });

  test('for a certificate of another key', async () => {
    const [certificate] = await issue('other', 'intermediate', '/CN=Other', rsaKey);
    expect(await refusal({ ...person, certificate })).toBe(
      `The signature is not one by the key in the signer's certificate, which may be for another key.`,
    );
  });

  test('for a certificate whose key is not RSA, before the signer is asked', async () => {
    const signer = { certificate: root, sign: () => Promise.reject(new Error('asked')) };
    expect(await refusal(signer)).toBe(`The key in the signer's certificate is not an RSA key that can be used.`);
  });

  test.each([
    ['the root comes first', () => root + intermediate, `its certificate 1 did not issue the signer's.`],
    ['one is there twice', () => intermediate + intermediate, 'its certificate 2 did not issue the one before it.'],
    [
      `the signer's own comes first`,
      () => person.certificate + intermediate,
      `its certificate 1 did not issue the signer's.`,
    ],
    [
      'one is damaged',
      () => intermediate + root.slice(0, -60),
      'What the chain holds is not an X.509 certificate in PEM.',
    ],
    ['it is empty', () => '', 'What the chain holds is not an X.509 certificate in PEM.'],
  ])('for a chain in which %s', async (_, chain, message) => {
    await expect(signCMS(content, person, { chain: chain() })).rejects.toThrow(message);
  });

  test.each([
    [
      'an algorithm other than RS256',
      { alg: 'PS256' },
      'The header names the algorithm "PS256", and the signature is RS256.',
    ],
    ['no algorithm', { alg: null }, 'The header names the algorithm null, and the signature is RS256.'],
    ['another certificate', { x5c: ['AAAA'] }, `The "x5c" in the header does not begin with the signer's certificate.`],
    [
      'a payload that is not encoded',
      { b64: false },
      'The header has "b64", which changes what is signed and is not supported.',
    ],
  ])('for a header that names %s', async (_, header, message) => {
    await expect(signJWS('{}', person, { header })).rejects.toThrow(message);
  });

  test.each([
    ['a SHA-256 of 20 bytes', { sha256: new Uint8Array(20) }, {}, 'neither bytes nor the 32 bytes of a SHA-256.'],
    ['a text', 'text' as never, {}, 'neither bytes nor the 32 bytes of a SHA-256.'],
    ['a SHA-256 that is to be attached', { sha256: new Uint8Array(32) }, { attached: true }, 'cannot be attached.'],
    ['a time that is none', content, { signingTime: new Date(NaN) }, 'not a date from 1950 to 9999.'],
    [
      'a time that no signature can have',
      content,
      { signingTime: new Date('1949-12-31') },
      'not a date from 1950 to 9999.',
    ],
  ])('for %s', async (_, data, options, message) => {
    await expect(signCMS(data, person, options)).rejects.toThrow(message);
  });
});

describe('the entry', () => {
  test('is the same in CommonJS', async () => {
    const require = createRequire(join(inject('app'), 'app.cjs'));
    const { signCMS: signed }: Package = require('kavrel-crypto/documents');
    expect(await signed(content, person, { chain: intermediate })).toEqual(
      await signCMS(content, person, { chain: intermediate }),
    );
  });

  test('leaves what is for ASN.1 out of an app that only makes tokens', async () => {
    const app = inject('app');
    const bundle = async (name: string) => {
      await writeFile(join(app, `${name}.js`), `export { ${name} } from 'kavrel-crypto/documents';`);
      const lib = { entry: `${name}.js`, formats: ['es' as const] };
      const options = { configFile: false as const, root: app, logLevel: 'error' as const };
      const [{ output }] = (await build({ ...options, build: { write: false, lib } })) as {
        output: { code: string }[];
      }[];
      return output.map(({ code }) => code).join('');
    };
    const sentence = 'Cannot get default converter'; // of the library for ASN.1
    expect(await bundle('signCMS')).toContain(sentence);
    const token = await bundle('signJWS');
    expect(token).toContain('RS256');
    expect(token).not.toContain(sentence);
    expect(token.length).toBeLessThan(30_000); // the most of it is Capacitor's
  });
});
