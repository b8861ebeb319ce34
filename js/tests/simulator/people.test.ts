import 'fake-indexeddb/auto';

import { webcrypto } from 'node:crypto';
import { describe, expect, test } from 'vitest';

import { useOpenSSL } from './openssl.js';
import { nationalCode, outcomeOf, sign, startPhone, startSimulator, TestAuthority, userInfo } from './phone.js';

const openssl = useOpenSSL();

const rsa = { name: 'RSASSA-PKCS1-v1_5', publicExponent: new Uint8Array([1, 0, 1]), hash: 'SHA-256' };

async function makeKey(modulusLength = 2048) {
  const { privateKey } = await webcrypto.subtle.generateKey({ ...rsa, modulusLength }, true, ['sign', 'verify']);
  return webcrypto.subtle.exportKey('jwk', privateKey);
}

describe('the people that a start is given', () => {
  test('have keys when it resolves, and the log does not show why', async () => {
    const phone = await startPhone({ people: [{ nationalCode }, { nationalCode: '7' }], prompts: 'match' });
    expect(await phone.call('hasKey', { nationalCode: '7' })).toEqual({ exists: true });
    expect(await phone.call('getCertificate', { nationalCode })).toEqual({ certPem: null });
    expect(await outcomeOf(sign(phone))).toBe('resolved');
    expect(phone.log.map(({ id, method }) => [id, method])).toEqual([
      [1, 'hasKey'],
      [2, 'getCertificate'],
      [3, 'signDigest'],
    ]);
    expect(await phone.items()).toHaveLength(4);
  });

  test('have the items that the component would have made', async () => {
    const given = await startPhone({ people: [{ nationalCode, certificate: true }] });
    const items = (await given.items()).map((item) => ({ ...item, createdAt: 0 }));
    await given.stop();
    const phone = await startPhone();
    await phone.call('ensureKey', { nationalCode });
    const authority = await TestAuthority.create();
    const { csrPem } = await phone.call('createCSR', { userInfo });
    await phone.call('storeCertificate', { nationalCode, certPem: await authority.issue(csrPem) });
    expect((await phone.items()).map((item) => ({ ...item, createdAt: 0 }))).toEqual(items);
  });

  test('have the key that they bring, with which OpenSSL verifies what they sign', async () => {
    const privateKey = await makeKey();
    const { kty, n, e } = privateKey;
    const phone = await startPhone({ people: [{ nationalCode, privateKey }], prompts: 'match' });
    const { signatureB64 } = await phone.call('signDigest', { nationalCode, digestB64: 'AAAA' });
    const key = await webcrypto.subtle.importKey('jwk', { kty, n, e }, rsa, true, ['verify']);
    await openssl.write('key.der', Buffer.from(await webcrypto.subtle.exportKey('spki', key)));
    await openssl.write('signature', Buffer.from(signatureB64, 'base64'));
    await openssl.write('data', Buffer.alloc(3));
    const verdict = await openssl.run('dgst', '-sha256', '-verify', 'key.der', '-keyform', 'DER', '-signature', 'signature', 'data'); // prettier-ignore
    expect(verdict).toBe('Verified OK\n');
  });

  test('have the certificate that they bring, or one that a test authority issues', async () => {
    const privateKey = await makeKey();
    const first = await startPhone({ people: [{ nationalCode, privateKey, certificate: true }] });
    const { certPem } = await first.call('getCertificate', { nationalCode });
    expect(await first.call('storeCertificate', { nationalCode, certPem: certPem! })).toEqual({ stored: true });
    await first.stop();
    const second = await startPhone({ people: [{ nationalCode, privateKey, certificate: certPem! }] });
    expect(await second.call('getCertificate', { nationalCode })).toEqual({ certPem });
  });

  test('are on a phone that is locked from the start', async () => {
    const phone = await startPhone({ people: [{ nationalCode, certificate: true }], state: { firstUnlock: false } });
    expect(await phone.items()).toHaveLength(3);
    expect(await phone.call('hasKey', { nationalCode })).toEqual({ exists: false });
    await phone.set({ locked: false });
    expect(await phone.call('hasKey', { nationalCode })).toEqual({ exists: true });
  });

  test('are gone after a reset, as their state is', async () => {
    const phone = await startPhone({ people: [{ nationalCode }], state: { biometry: 'touchID' } });
    expect(await phone.state()).toMatchObject({ biometry: 'touchID' });
    await phone.reset();
    expect([await phone.items(), (await phone.state()).biometry]).toEqual([[], 'faceID']);
  });
});

test('somebody who comes to a phone later takes over the slot of its certificate', async () => {
  const start = (code: string) =>
    startPhone({ storage: 'indexeddb', keys: 'reused', people: [{ nationalCode: code, certificate: true }] });
  const before = await start('1');
  const slot = await before.call('getCertificate', { nationalCode: '1' });
  await before.stop();
  const phone = await start('2');
  expect((await phone.items()).map(({ class: itemClass }) => itemClass)).toEqual([
    'privateKey',
    'publicKey',
    'privateKey',
    'publicKey',
    'genericPassword',
  ]);
  expect(await phone.call('getCertificate', { nationalCode: '2' })).not.toEqual(slot);
});

describe('a start refuses, with words that name the person,', () => {
  const known = 'nationalCode, privateKey, certificate';
  const keyWanted = 'people[0] takes an RSA private key of 2048 bits, as a JSON Web Key, as privateKey: ';

  test.each<[unknown, string]>([
    [{}, 'startSimulator takes an array as people, and this is an object.'],
    [['7'], 'people[0] takes an object, and this is "7".'],
    [[{}], 'people[0] takes a string as nationalCode, and has none.'],
    [[{ nationalCode: 7 }], 'people[0] takes a string as nationalCode, and this is 7.'],
    [[{ nationalCode, name: 'Sara' }], `people[0] does not know "name". It takes ${known}.`],
    [[{ nationalCode }, { nationalCode }], `people[1] is "${nationalCode}", and so is somebody before.`],
    [[{ nationalCode, certificate: false }], 'people[0] takes true or a string as certificate, and this is false.'],
    [
      [{ nationalCode, certificate: 'PEM' }],
      'people[0] has a certificate without the privateKey that it is for. It takes both, or true.',
    ],
    [
      [
        { nationalCode, certificate: true },
        { nationalCode: '7', certificate: true },
      ],
      'people[1] has a certificate, and so has somebody before: a phone keeps one.',
    ],
    ...['', '۷'].map((code): [unknown, string] => [
      [{ nationalCode: code, certificate: true }],
      'people[0] takes a nationalCode in ASCII for a certificate to be issued.',
    ]),
    [[{ nationalCode, privateKey: 'key' }], 'people[0] takes an object as privateKey, and this is "key".'],
    [[{ nationalCode, privateKey: { kty: 'EC' } }], `${keyWanted}its kty is "EC" and not "RSA".`],
    [[{ nationalCode, privateKey: { kty: 'RSA', n: 'AQAB' } }], `${keyWanted}its n is not a number of 2048 bits.`],
  ])('%j', async (people, sentence) => {
    await expect(startSimulator({ people: people as never })).rejects.toThrow(new TypeError(sentence));
  });

  test('a key of another size, a public one, and one whose numbers do not belong together', async () => {
    const [small, key, other] = [await makeKey(1024), await makeKey(), await makeKey()];
    const refused = (privateKey: object) => startSimulator({ people: [{ nationalCode, privateKey }] });
    await expect(refused(small)).rejects.toThrow(`${keyWanted}its n is not a number of 2048 bits.`);
    await expect(refused({ ...key, d: undefined })).rejects.toThrow('it has no d, so it is a public key');
    await expect(refused({ ...key, n: other.n })).rejects.toThrow(TypeError);
  });

  test('a certificate for another key, and a string that is none', async () => {
    const [privateKey, other] = [await makeKey(), await makeKey()];
    const phone = await startPhone({ people: [{ nationalCode, privateKey: other, certificate: true }] });
    const { certPem } = await phone.call('getCertificate', { nationalCode });
    await phone.stop();
    for (const certificate of [certPem!, 'PEM']) {
      const refused = startSimulator({ people: [{ nationalCode, privateKey, certificate }] });
      const sentence = `The certificate of "${nationalCode}" in people is not one for its privateKey (Certificate is not valid).`;
      await expect(refused).rejects.toThrow(new TypeError(sentence));
    }
  });
});

describe('the state that a start is given', () => {
  test.each([
    [{ lock: true }, TypeError, /startSimulator, in state, does not know "lock"\. It takes biometry, /],
    [{ locked: 1 }, TypeError, 'startSimulator, in state, takes true or false as locked, and this is 1.'],
    [{ locked: false, firstUnlock: false }, RangeError, /locked false does not go with firstUnlock false/],
  ])('is refused if it is %j', async (state, kind, sentence) => {
    const refused = startSimulator({ state: state as never });
    await expect(refused).rejects.toThrow(kind);
    await expect(refused).rejects.toThrow(sentence);
  });
});

describe('key pairs', () => {
  const keyOn = async (keys: 'new' | 'reused') => {
    await using phone = await startSimulator({ keys, people: [{ nationalCode: '1' }] });
    await phone.call('ensureKey', { nationalCode: '2' });
    const infos = ['1', '2'].map((nationalCode) => phone.call('getKeyInfo', { nationalCode }));
    return (await Promise.all(infos)).map(({ publicKeyPem }) => publicKeyPem);
  };

  test('that are reused come round in their order, and no two of one phone are the same', async () => {
    const [first, second] = [await keyOn('reused'), await keyOn('reused')];
    expect(second).toEqual(first);
    expect(new Set(first).size).toBe(2);
  });

  test('that are new are new', async () => {
    const [first, second] = [await keyOn('new'), await keyOn('new')];
    expect(new Set([...first, ...second]).size).toBe(4);
  });
});
