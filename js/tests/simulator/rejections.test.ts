import { readFile } from 'node:fs/promises';
import { join } from 'node:path';
import { expect, inject, test } from 'vitest';

import { run, tree } from '../app.js';

import type { Simulator } from './phone.js';
import { callAnyhow, installed, nationalCode, startPhone, startSimulator, TestAuthority, userInfo } from './phone.js';

// eslint-disable-next-line @typescript-eslint/consistent-type-imports
type Plugin = typeof import('../../src/index.js');

/** The rows of the guide's table of messages. */
const guide = await readFile(join(tree, 'docs/web-guide.md'), 'utf8');
const rows = [...guide.matchAll(/^\| `([^`]+)` \| (`\w+`(?:, `\w+`)*) \|/gm)].flatMap(([, message, methods]) =>
  [...methods.matchAll(/\w+/g)].map(([method]) => `${method}: ${message}`),
);

type Bring = (phone: Simulator) => Promise<unknown>;

const person = { nationalCode };
const withoutCode: Bring = async () => undefined;

async function certificateFor(phone: Simulator, options = {}): Promise<string> {
  const { csrPem } = await phone.call('createCSR', { userInfo });
  return (await TestAuthority.create()).issue(csrPem, options);
}

/** How each rejection is brought about: what happens before the call, and its options. */
const ways: Record<string, [before: Bring, options: object | undefined | ((phone: Simulator) => Promise<unknown>)]> = {
  'hasKey: nationalCode required': [withoutCode, {}],
  'getKeyInfo: nationalCode required': [withoutCode, { nationalCode: 12345678 }],
  'deleteKey: nationalCode required': [withoutCode, {}],
  'storeCertificate: nationalCode required': [withoutCode, {}],
  'getCertificate: nationalCode required': [withoutCode, undefined],
  'createCSR: nationalCode required': [withoutCode, { userInfo: { ...userInfo, nationalCode: '' } }],
  'signDigest: nationalCode required': [withoutCode, {}],
  'ensureKey: nationalCode required': [withoutCode, {}],
  'getKeyInfo: not found': [(phone) => phone.call('deleteKey', person), person],
  'getKeyInfo: failed to get public key': [async (phone) => phone.failNext('findItem', { after: 1 }), person],
  'storeCertificate: Provide certPem': [withoutCode, { nationalCode, certPem: '' }],
  'storeCertificate: Certificate is not valid (key missing)': [
    (phone) => phone.call('deleteKey', person),
    { nationalCode, certPem: 'PEM' },
  ],
  'storeCertificate: Certificate is not valid': [
    withoutCode,
    async (phone) => ({ nationalCode, certPem: await certificateFor(phone, { forAnotherKey: true }) }),
  ],
  'createCSR: userInfo required': [withoutCode, userInfo],
  'createCSR: invalid userInfo': [withoutCode, { userInfo: { ...userInfo, postalCode: 1234567890 } }],
  'createCSR: ensure_key_failed': [
    async (phone) => {
      await phone.call('deleteKey', person);
      phone.failNext('generateKey');
    },
    { userInfo },
  ],
  'ensureKey: ensure_key_failed': [(phone) => phone.set({ locked: true }), person],
  'createCSR: csr_failed': [async (phone) => phone.failNext('sign'), { userInfo }],
  'signDigest: invalid digestB64': [withoutCode, { nationalCode, digestB64: '-_-_' }],
  'signDigest: sign_failed': [async (phone) => phone.answerNext('cancel'), { nationalCode, digestB64: 'AAAA' }],
};

test('each rejection of the guide is brought about here', () => {
  expect(rows.length).toBeGreaterThan(0);
  expect(Object.keys(ways).sort()).toEqual(rows.sort());
});

test.each(Object.entries(ways))('%s', async (row, [before, options]) => {
  const [method, message] = row.split(/: (.*)/);
  const phone = await startPhone({ people: [person], keys: 'reused', prompts: 'match' });
  await before(phone);
  const given = typeof options === 'function' ? await options(phone) : options;
  await expect(callAnyhow(phone, method, given)).rejects.toMatchObject({ message });
  expect(phone.log.at(-1)).toMatchObject({ method, outcome: 'rejected', error: { message } });
});

test.each<[string, (phone: Simulator) => unknown, object]>([
  ['the person cancels', (phone) => phone.answerNext('cancel'), { enabled: true }],
  ['the person is not recognised', (phone) => phone.answerNext('no-match'), { enabled: true }],
  ['the system ends the prompt', (phone) => phone.answerNext('interrupt'), { enabled: true }],
  ['there is no sensor', (phone) => phone.set({ biometry: 'none' }), { status: 'BIOMETRIC_ERROR_NO_HARDWARE' }],
  ['nobody is enrolled', (phone) => phone.set({ enrolled: false }), { status: 'BIOMETRIC_ERROR_NONE_ENROLLED' }],
  ['the sensor is locked out', (phone) => phone.set({ lockedOut: true }), { status: 'BIOMETRIC_ERROR_LOCKOUT' }],
  ['there is no key', (phone) => phone.call('deleteKey', person), { enabled: true }],
])('sign_failed, because %s', async (_, before, status) => {
  const phone = await startPhone({ people: [person], keys: 'reused', prompts: 'match' });
  await before(phone);
  await expect(phone.call('signDigest', { nationalCode, digestB64: '' })).rejects.toThrow('sign_failed');
  expect(await phone.call('getBiometricStatus')).toMatchObject(status);
});

test('UNAVAILABLE, because no simulator runs', async () => {
  const { DigitalSign }: Plugin = await import(installed('esm/index.js'));
  await expect(DigitalSign.hasKey(person)).rejects.toMatchObject({ code: 'UNAVAILABLE' });
  const phone = await startSimulator();
  expect(await DigitalSign.hasKey(person)).toEqual({ exists: false });
  await phone.stop();
  await expect(DigitalSign.hasKey(person)).rejects.toMatchObject({ code: 'UNAVAILABLE' });
});

test.each([
  ['the app was built without the plugin', 'webkit = { messageHandlers: { bridge: {} } }'],
  ['the app is not for iOS', 'androidBridge = {}'],
])('UNIMPLEMENTED, because %s', async (_, nativeSide) => {
  const call = `globalThis.${nativeSide};
    import('kavrel-crypto').then(({ DigitalSign }) => DigitalSign.hasKey({})).catch(({ code }) => console.log(code));`;
  const { stdout } = await run(process.execPath, ['--eval', call], { cwd: inject('app') });
  expect(stdout).toBe('UNIMPLEMENTED\n');
});
