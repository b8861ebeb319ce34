import type { KeyInfo } from 'kavrel-crypto';

import type { Check } from '../check.js';
import { toBase64, toPEM } from '../encoding.js';
import { holds, rejected, resolved, resultOf, same } from '../outcome.js';
import { identity, people } from '../people.js';
import { readRequest } from '../request.js';

const { enrolled, other, fresh, nobody } = people;

/** The lines of a PEM text with what ends each of them. */
const lines = (pem: string): string[] => pem.match(/[^\r\n]*(\r\n|\n|$)/g)?.filter(Boolean) ?? [];

export const keyChecks: Check[] = [
  {
    name: 'hasKey: resolves with exactly { exists: true } for a person with a key',
    run: async ({ call }) => {
      same(await call('hasKey', { nationalCode: enrolled }), resolved({ exists: true }));
    },
  },
  {
    name: 'hasKey: resolves with exactly { exists: false } for a person without one',
    run: async ({ call }) => {
      same(await call('hasKey', { nationalCode: nobody }), resolved({ exists: false }));
    },
  },
  {
    name: 'hasKey: names the person byte for byte, with case and blanks',
    run: async ({ call }) => {
      for (const nationalCode of [
        enrolled.toUpperCase(),
        ` ${enrolled}`,
        `${enrolled} `,
        `${enrolled}\n`,
        `${enrolled}\u200b`,
      ]) {
        same(await call('hasKey', { nationalCode }), resolved({ exists: false }), JSON.stringify(nationalCode));
      }
    },
  },
  {
    name: 'hasKey: takes the empty string for a person',
    run: async ({ call }) => {
      const { exists } = resultOf(await call('hasKey', { nationalCode: '' }));
      same(typeof exists, 'boolean', 'The type of "exists"');
    },
  },
  {
    name: 'getKeyInfo: rejects "not found" for a person without a key, and makes none',
    run: async ({ call }) => {
      same(await call('getKeyInfo', { nationalCode: nobody }), rejected('not found'));
      same(await call('hasKey', { nationalCode: nobody }), resolved({ exists: false }), 'hasKey afterwards');
    },
  },
  {
    name: 'getKeyInfo: resolves with exactly its six members',
    run: async ({ call }) => {
      const info = resultOf(await call('getKeyInfo', { nationalCode: enrolled }));
      const members = ['alg', 'alias', 'certificate', 'createdAt', 'hardwareBacked', 'publicKeyPem'];
      same(Object.keys(info).sort(), members, 'The members');
    },
  },
  {
    name: 'getKeyInfo: has the constants RSA_2048, unknown and false, and the alias as received',
    run: async ({ call }) => {
      const { alias, alg, createdAt, hardwareBacked } = resultOf(await call('getKeyInfo', { nationalCode: enrolled }));
      const expected = { alias: enrolled, alg: 'RSA_2048', createdAt: 'unknown', hardwareBacked: false };
      same({ alias, alg, createdAt, hardwareBacked }, expected, 'The result');
    },
  },
  {
    name: 'getKeyInfo: ends the header with LF, the base64 lines with CR LF, and the footer with nothing',
    run: async ({ call }) => {
      const { publicKeyPem } = resultOf<KeyInfo>(await call('getKeyInfo', { nationalCode: enrolled }));
      const [header, ...rest] = lines(publicKeyPem);
      const footer = rest.pop();
      const last = rest.pop() ?? '';
      same([header, footer], ['-----BEGIN PUBLIC KEY-----\n', '-----END PUBLIC KEY-----'], 'Header and footer');
      same(
        rest.map((line) => line.length),
        [66, 66, 66, 66, 66],
        'The lengths of the first five lines',
      );
      holds(
        rest.every((line) => line.endsWith('\r\n')),
        'A base64 line does not end with CR LF.',
      );
      holds(/^[A-Za-z0-9+/]{39}[A-Za-z0-9+/=]\n$/.test(last), 'The sixth line is not 40 characters and LF.');
    },
  },
  {
    name: 'getKeyInfo: holds the PKCS #1 key of the request under the label "PUBLIC KEY"',
    run: async ({ call }) => {
      const { publicKeyPem } = resultOf<KeyInfo>(await call('getKeyInfo', { nationalCode: enrolled }));
      const { csrPem } = resultOf(await call('createCSR', { userInfo: identity(enrolled) }));
      const { subjectPublicKey } = readRequest(String(csrPem)).certificationRequestInfo.subjectPKInfo;
      const body = publicKeyPem.replace(/-----[A-Z ]+-----|\s/g, '');
      same(body, toBase64(new Uint8Array(subjectPublicKey)), 'The key');
      holds(body.startsWith('MIIBCgKCAQEA'), 'The key is not an RSAPublicKey with a modulus of 2048 bits.');
    },
  },
  {
    name: 'getKeyInfo: has a null certificate while the slot is empty',
    run: async ({ call }) => {
      await call('deleteKey', { nationalCode: nobody });
      const { certificate } = resultOf(await call('getKeyInfo', { nationalCode: enrolled }));
      same(certificate, null, 'The certificate');
    },
  },
  {
    name: 'getKeyInfo: shows the certificate in the slot, whoever it belongs to',
    run: async ({ call, certificate }) => {
      const certPem = toPEM('CERTIFICATE', certificate);
      await call('storeCertificate', { nationalCode: enrolled, certPem });
      const info = resultOf(await call('getKeyInfo', { nationalCode: other }));
      same(info.certificate, certPem, 'The certificate');
    },
  },
  {
    name: 'ensureKey: resolves with exactly { ok: true }, and the key is there',
    run: async ({ call }) => {
      same(await call('ensureKey', { nationalCode: fresh }), resolved({ ok: true }));
      same(await call('hasKey', { nationalCode: fresh }), resolved({ exists: true }), 'hasKey afterwards');
    },
  },
  {
    name: 'ensureKey: replaces a key that exists',
    run: async ({ call }) => {
      const makeKey = async (): Promise<string> => {
        await call('ensureKey', { nationalCode: fresh });
        return resultOf<KeyInfo>(await call('getKeyInfo', { nationalCode: fresh })).publicKeyPem;
      };
      holds((await makeKey()) !== (await makeKey()), 'The key is the same after ensureKey.');
    },
  },
  {
    name: 'ensureKey: leaves the certificate in the slot',
    run: async ({ call, certificate }) => {
      const certPem = toPEM('CERTIFICATE', certificate);
      await call('storeCertificate', { nationalCode: enrolled, certPem });
      await call('ensureKey', { nationalCode: fresh });
      same(await call('getCertificate', { nationalCode: fresh }), resolved({ certPem }));
    },
  },
  {
    name: 'deleteKey: resolves with exactly { deleted: true }, also where there is nothing to delete',
    run: async ({ call }) => {
      same(await call('deleteKey', { nationalCode: nobody }), resolved({ deleted: true }));
    },
  },
  {
    name: 'deleteKey: deletes the key',
    run: async ({ call }) => {
      await call('ensureKey', { nationalCode: fresh });
      await call('deleteKey', { nationalCode: fresh });
      same(await call('hasKey', { nationalCode: fresh }), resolved({ exists: false }), 'hasKey afterwards');
    },
  },
  {
    name: "deleteKey: empties the slot that holds another person's certificate, and keeps that person's key",
    run: async ({ call, certificate }) => {
      const certPem = toPEM('CERTIFICATE', certificate);
      await call('storeCertificate', { nationalCode: enrolled, certPem });
      await call('deleteKey', { nationalCode: nobody });
      same(await call('getCertificate', { nationalCode: enrolled }), resolved({ certPem: null }), 'The slot');
      same(await call('hasKey', { nationalCode: enrolled }), resolved({ exists: true }), 'hasKey afterwards');
    },
  },
];
