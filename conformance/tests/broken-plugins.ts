import { fromBase64, toBase64 } from '../encoding.js';
import type { Outcome } from '../outcome.js';
import { rejected, resolved } from '../outcome.js';
import { people } from '../people.js';

/** A plugin that is broken: what becomes of how a call settles. Undefined leaves it as it is. */
export type BrokenPlugin = (method: string, options: Record<string, unknown>, settled: Promise<Outcome>) => unknown;

type Result = Record<string, string>;

/** Another outcome for every call of `method`. */
const answer =
  (method: string, outcome: Outcome): BrokenPlugin =>
  (called) =>
    called === method ? outcome : undefined;

/** The results of `method` with something changed in them. */
const change =
  (method: string, changed: (result: Result, options: Record<string, unknown>) => object): BrokenPlugin =>
  (called, options, settled) =>
    called === method
      ? settled.then((outcome) =>
          'resolved' in outcome ? resolved(changed(outcome.resolved as Result, options)) : outcome,
        )
      : undefined;

/** Another outcome for those calls of `method` whose options are `where`. */
const answerWhere =
  (method: string, where: (options: Record<string, unknown>) => boolean, outcome: Outcome): BrokenPlugin =>
  (called, options) =>
    called === method && where(options) ? outcome : undefined;

/** The request with one bit of a byte turned over, whose place counts from the end. */
const alterRequest = (place: number): BrokenPlugin =>
  change('createCSR', ({ csrPem }) => {
    const der = fromBase64(csrPem);
    der[der.length + place] ^= 1;
    return { csrPem: toBase64(der) };
  });

/** Another request each time. */
const alterEveryOther = (): BrokenPlugin => {
  let count = 0;
  return change('createCSR', (result) => (count++ ? { csrPem: `${result.csrPem}AAAA` } : result));
};

const extra = (result: object): object => ({ ...result, extra: null });

const data: Outcome = { rejected: { message: 'sign_failed', code: null, data: {} } };
const code = rejected('sign_failed', 'Cancelled');
const stored = resolved({ stored: true });
const notValid = rejected('Certificate is not valid');
const has = (name: string, part: string) => (options: Record<string, unknown>) => String(options[name]).includes(part);

const brokenArguments = Object.fromEntries(
  ['hasKey', 'getKeyInfo', 'deleteKey', 'storeCertificate', 'getCertificate', 'signDigest', 'ensureKey'].map(
    (method) => [
      `${method}: rejects "nationalCode required" unless that is a string, without a code or data`,
      answerWhere(method, ({ nationalCode }) => nationalCode === 123, rejected('nationalCode required', 'code')),
    ],
  ),
);

/** For each check, by its name, one observable that is falsified. */
export const brokenPlugins: Record<string, BrokenPlugin> = {
  ...brokenArguments,

  'getBiometricStatus: resolves with exactly { enabled, status, type }': change('getBiometricStatus', extra),
  'getBiometricStatus: is enabled exactly when the status is BIOMETRIC_SUCCESS': change(
    'getBiometricStatus',
    (result) => ({ ...result, enabled: false }),
  ),
  'getBiometricStatus: numbers the kind of sensor 0, 1, 2 or 4': change('getBiometricStatus', (result) => ({
    ...result,
    type: 3,
  })),
  'setStyle: is still not settled after two seconds, while another call settles': answer('setStyle', resolved({})),

  'hasKey: resolves with exactly { exists: true } for a person with a key': change('hasKey', extra),
  'hasKey: resolves with exactly { exists: false } for a person without one': answer('hasKey', resolved({ exists: 0 })),
  'hasKey: names the person byte for byte, with case and blanks': answerWhere(
    'hasKey',
    has('nationalCode', ' '),
    resolved({ exists: true }),
  ),
  'hasKey: takes the empty string for a person': answer('hasKey', rejected('nationalCode required')),
  'getKeyInfo: rejects "not found" for a person without a key, and makes none': answer(
    'hasKey',
    resolved({ exists: true }),
  ),
  'getKeyInfo: resolves with exactly its six members': change('getKeyInfo', extra),
  'getKeyInfo: has the constants RSA_2048, unknown and false, and the alias as received': change(
    'getKeyInfo',
    (result) => ({ ...result, hardwareBacked: true }),
  ),
  'getKeyInfo: ends the header with LF, the base64 lines with CR LF, and the footer with nothing': change(
    'getKeyInfo',
    (result) => ({ ...result, publicKeyPem: result.publicKeyPem.replaceAll('\r\n', '\n') }),
  ),
  'getKeyInfo: holds the PKCS #1 key of the request under the label "PUBLIC KEY"': change('getKeyInfo', (result) => ({
    ...result,
    publicKeyPem: result.publicKeyPem.replace('MIIBCgKCAQEA', 'MIIBCgKCAQEB'),
  })),
  'getKeyInfo: has a null certificate while the slot is empty': change('getKeyInfo', (result) => ({
    ...result,
    certificate: '',
  })),
  'getKeyInfo: shows the certificate in the slot, whoever it belongs to': change('getKeyInfo', (result) => ({
    ...result,
    certificate: null,
  })),
  'ensureKey: resolves with exactly { ok: true }, and the key is there': answer('hasKey', resolved({ exists: false })),
  'ensureKey: replaces a key that exists': change('getKeyInfo', (result) => ({ ...result, publicKeyPem: 'the same' })),
  'ensureKey: leaves the certificate in the slot': answer('getCertificate', resolved({ certPem: null })),
  'deleteKey: resolves with exactly { deleted: true }, also where there is nothing to delete': answer(
    'deleteKey',
    resolved({ deleted: false }),
  ),
  'deleteKey: deletes the key': answer('hasKey', resolved({ exists: true })),
  "deleteKey: empties the slot that holds another person's certificate, and keeps that person's key": answer(
    'hasKey',
    resolved({ exists: false }),
  ),

  'createCSR: rejects "userInfo required" unless that is an object': answerWhere(
    'createCSR',
    ({ userInfo }) => userInfo === null,
    rejected('invalid userInfo'),
  ),
  'createCSR: rejects "invalid userInfo" where any of the fourteen fields is missing or not a string': answerWhere(
    'createCSR',
    ({ userInfo }) => (userInfo as { gender?: unknown }).gender === null,
    resolved({ csrPem: '' }),
  ),
  'createCSR: rejects "nationalCode required" for an empty one': answer('createCSR', rejected('invalid userInfo')),
  'createCSR: resolves with exactly { csrPem }, one line of base64 without a header': change('createCSR', (result) => ({
    csrPem: `${result.csrPem}\n`,
  })),
  'createCSR: ignores fields beyond the fourteen': alterEveryOther(),
  'createCSR: makes a key for a person who has none': answer('hasKey', resolved({ exists: false })),
  'createCSR: keeps the key of a person who has one, and writes the same bytes twice': alterEveryOther(),
  'createCSR: writes version 0 and the seven attributes in their order, each of its own type': change(
    'createCSR',
    ({ csrPem }) => {
      const der = fromBase64(csrPem);
      const postalCode = der.findIndex(
        (_, place) => der[place] === 0x55 && der[place + 1] === 4 && der[place + 2] === 0x11,
      );
      der[postalCode + 3] = 0x0c;
      return { csrPem: toBase64(der) };
    },
  ),
  'createCSR: asks for the key purposes document signing and client authentication, critical': change(
    'createCSR',
    ({ csrPem }) => {
      const der = fromBase64(csrPem);
      const critical = der.findIndex((_, place) => der[place] === 0x25 && der[place + 1] === 1 && der[place + 2] === 1);
      der[critical + 3] = 0;
      return { csrPem: toBase64(der) };
    },
  ),
  // Behind the algorithm stand the 261 bytes of the signature: tag, length, unused bits and 256 bytes.
  'createCSR: names sha256WithRSAEncryption, with NULL parameters': alterRequest(-261 - 3),
  'createCSR: signs the request with the key that is in it': alterRequest(-1),

  'storeCertificate: rejects "Provide certPem" unless that is a string with something in it': answerWhere(
    'storeCertificate',
    ({ certPem }) => certPem === '',
    notValid,
  ),
  'storeCertificate: looks for the key before it reads the certificate': answer('storeCertificate', notValid),
  "storeCertificate: refuses a certificate for another person's key": answer('storeCertificate', stored),
  'storeCertificate: leaves the slot as it was when it refuses': (() => {
    let count = 0;
    return change('getCertificate', (result) => (count++ ? { certPem: null } : result));
  })(),
  'storeCertificate: resolves with exactly { stored: true }, and keeps the string as it is': change(
    'getCertificate',
    ({ certPem }) => ({ certPem: certPem.replaceAll('\r\n', '\n') }),
  ),
  'storeCertificate: takes the bare base64 of a certificate': answer('storeCertificate', notValid),
  'storeCertificate: drops each of the 26 white-space characters anywhere in the text': answerWhere(
    'storeCertificate',
    has('certPem', '\u200b'),
    notValid,
  ),
  'storeCertificate: does not take U+180E, U+200C, U+200D, U+2060 or U+FEFF for white space': answerWhere(
    'storeCertificate',
    has('certPem', '\u2060'),
    stored,
  ),
  'storeCertificate: removes markers anywhere, however often': answer('storeCertificate', notValid),
  'storeCertificate: refuses markers in lower case, and words around the markers': answerWhere(
    'storeCertificate',
    has('certPem', 'begin'),
    stored,
  ),
  'storeCertificate: ignores bytes that follow the certificate': answer('storeCertificate', notValid),
  'storeCertificate: takes the first of two joined certificates': answer('storeCertificate', notValid),
  'storeCertificate: refuses bytes in front of a certificate, and one that is cut': (() => {
    let count = 0;
    return (method) => (method === 'storeCertificate' && count++ === 2 ? stored : undefined);
  })(),
  'getCertificate: resolves with exactly { certPem }, null while the slot is empty': answer(
    'getCertificate',
    resolved({}),
  ),
  'getCertificate: returns the one certificate to whoever asks': answerWhere(
    'getCertificate',
    ({ nationalCode }) => nationalCode === people.nobody,
    resolved({ certPem: null }),
  ),

  'signDigest: rejects "invalid digestB64" unless that is standard base64, and shows no prompt': answerWhere(
    'signDigest',
    ({ digestB64 }) => digestB64 === 'A-_A',
    rejected('sign_failed'),
  ),
  'signDigest: resolves with exactly { signatureB64, algo: "RSA_SHA256", digestB64 }': change('signDigest', extra),
  'signDigest: returns 256 bytes as one line of base64': change('signDigest', (result) => ({
    ...result,
    signatureB64: `${result.signatureB64.slice(0, 64)}\n${result.signatureB64.slice(64)}`,
  })),
  'signDigest: hashes the given bytes once more, so that a signature is over the digest and not the data': change(
    'signDigest',
    (result) => ({ ...result, signatureB64: `A${result.signatureB64.slice(1)}` }),
  ),
  'signDigest: returns the same signature for the same bytes': (() => {
    let count = 0;
    return change('signDigest', (result) => (count++ ? { ...result, signatureB64: '' } : result));
  })(),
  'signDigest: signs no bytes at all': answer('signDigest', rejected('sign_failed')),
  'signDigest: rejects "sign_failed" when the prompt is cancelled, without a code or data': answer('signDigest', code),
  'signDigest: finds out only after the prompt that a person has no key, and rejects "sign_failed"': answer(
    'signDigest',
    data,
  ),
};
