import { describe, expect, test } from 'vitest';

import type { PlatformOperation } from './phone.js';
import { callAnyhow, nationalCode, startPhone, TestAuthority, userInfo } from './phone.js';

const fault = (operation: PlatformOperation) => `The simulated phone was told to fail: ${operation}.`;
const because = (operation: PlatformOperation) => ({ code: fault(operation) });

const failed = { code: 'The operation couldn’t be completed. (KavrelCrypto.CSRCreationError error 2.)' };

/** What comes of a method in which an operation fails, once `after` of its kind have succeeded. */
const table: [PlatformOperation, number, string, unknown][] = [
  ['generateKey', 0, 'ensureKey', { message: 'ensure_key_failed', ...because('generateKey') }],
  ['deleteItem', 0, 'ensureKey', { ok: true }],
  ['findItem', 0, 'ensureKey', { ok: true }],
  ['findItem', 0, 'hasKey', { exists: false }],
  ['findItem', 0, 'getKeyInfo', { message: 'not found' }],
  ['findItem', 1, 'getKeyInfo', { message: 'failed to get public key' }],
  ['readItem', 0, 'getKeyInfo', expect.objectContaining({ alias: nationalCode, certificate: null })],
  ['exportKey', 0, 'getKeyInfo', 'the app has stopped'],
  ['deleteItem', 0, 'deleteKey', { deleted: true }],
  ['findItem', 0, 'createCSR', { csrPem: expect.any(String) }],
  ['exportKey', 0, 'createCSR', { message: 'csr_failed', ...failed }],
  ['sign', 0, 'createCSR', { message: 'csr_failed', ...failed }],
  ['verify', 0, 'createCSR', { message: 'csr_failed', ...failed }],
  ['findItem', 0, 'storeCertificate', { message: 'Certificate is not valid (key missing)' }],
  ['findItem', 1, 'storeCertificate', { message: 'Certificate is not valid' }],
  ['exportKey', 0, 'storeCertificate', 'the app has stopped'],
  ['exportKey', 1, 'storeCertificate', { message: 'Certificate is not valid' }],
  ['deleteItem', 0, 'storeCertificate', { stored: true }],
  ['addItem', 0, 'storeCertificate', { stored: true }],
  ['readItem', 0, 'getCertificate', { certPem: null }],
  ['findItem', 0, 'signDigest', { message: 'sign_failed' }],
  ['sign', 0, 'signDigest', { message: 'sign_failed' }],
];

describe('an operation of the platform that fails', () => {
  test.each(table)('%s, after %i, in %s', async (operation, after, method, outcome) => {
    const phone = await startPhone({
      keys: 'reused',
      prompts: 'match',
      people: [{ nationalCode, certificate: true }],
    });
    const { csrPem } = await phone.call('createCSR', { userInfo });
    const certPem = await (await TestAuthority.create()).issue(csrPem);
    phone.failNext(operation, { after });
    const stopped = new Promise((resolve) => phone.addEventListener('stopped', () => resolve('the app has stopped')));
    const call = callAnyhow(phone, method, { nationalCode, userInfo, certPem, digestB64: '' }).catch(
      ({ message, code }) => (code === undefined ? { message } : { message, code }),
    );
    expect(await Promise.race([call, stopped])).toEqual(outcome);
  });
});

test('a fault is spent when it has happened', async () => {
  const phone = await startPhone({ keys: 'reused' });
  phone.failNext('generateKey');
  await expect(phone.call('ensureKey', { nationalCode })).rejects.toThrow('ensure_key_failed');
  expect(await phone.call('ensureKey', { nationalCode })).toEqual({ ok: true });
});

test('faults add up, and each takes a turn of its own', async () => {
  const phone = await startPhone({ keys: 'reused', people: [{ nationalCode }] });
  phone.failNext('findItem', { after: 2 });
  phone.failNext('findItem');
  phone.failNext('findItem');
  const exists: boolean[] = [];
  for (let turn = 0; turn < 4; ++turn) exists.push((await phone.call('hasKey', { nationalCode })).exists);
  expect(exists).toEqual([false, false, false, true]);
});

test('a reset forgets faults and answers', async () => {
  const phone = await startPhone({ keys: 'reused', prompts: 'match' });
  phone.failNext('generateKey');
  phone.answerNext('cancel');
  await phone.reset();
  await phone.call('ensureKey', { nationalCode });
  expect(await phone.call('signDigest', { nationalCode, digestB64: '' })).toMatchObject({ algo: 'RSA_SHA256' });
});

test.each([
  [['unlock'], /^failNext takes 'generateKey', 'addItem', .+ or 'verify', and this is "unlock"\.$/],
  [[undefined], /^failNext takes .+, and this is undefined\.$/],
  [['sign', { after: -1 }], 'failNext takes a whole number from 0 on as after, and this is -1.'],
  [['sign', { after: 0.5 }], 'failNext takes a whole number from 0 on as after, and this is 0.5.'],
  [['sign', { before: 1 }], 'failNext does not know "before". It takes after.'],
  [['sign', 1], 'failNext takes an object, and this is 1.'],
])('failNext refuses %j', async (values, sentence) => {
  const phone = await startPhone();
  const arrange = () => (phone.failNext as (...values: unknown[]) => void)(...values);
  expect(arrange).toThrow(TypeError);
  expect(arrange).toThrow(sentence);
});
