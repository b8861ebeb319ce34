import { describe, expect, test } from 'vitest';

import { useOpenSSL } from './openssl.js';
import type { PhoneState } from './phone.js';
import { callAnyhow, nationalCode, next, outcomeOf, sign, startPhone, userInfo } from './phone.js';

const openssl = useOpenSSL();

const tag = {
  private: `com.solbera.app.privatekey.${nationalCode}`,
  public: `com.solbera.app.publickey.${nationalCode}`,
};

describe('the items of the keychain', () => {
  test('are listed in the order in which they were stored, without their secrets', async () => {
    const phone = await startPhone();
    const before = Date.now();
    await phone.call('ensureKey', { nationalCode });
    const items = await phone.items();
    const createdAt = expect.any(Date);
    expect(items).toEqual([
      { class: 'privateKey', tag: tag.private, accessibility: 'whenUnlockedThisDeviceOnly', createdAt },
      { class: 'publicKey', tag: tag.public, accessibility: 'whenUnlocked', createdAt },
    ]);
    for (const item of items) expect(item.createdAt.getTime()).toBeGreaterThanOrEqual(before);
  });

  test('are announced when they change', async () => {
    const phone = await startPhone();
    const made = next(phone, 'items');
    await phone.call('ensureKey', { nationalCode });
    await made;
    const deleted = next(phone, 'items');
    await phone.call('deleteKey', { nationalCode });
    await deleted;
    expect(await phone.items()).toEqual([]);
  });

  test('stay if an existing key is asked for, and are replaced if a new one is', async () => {
    const phone = await startPhone();
    await phone.call('ensureKey', { nationalCode });
    const keyOf = async () =>
      ((await phone.call('getKeyInfo', { nationalCode })) as { publicKeyPem: string }).publicKeyPem;
    const first = await keyOf();
    await phone.call('createCSR', { userInfo });
    expect(await keyOf()).toBe(first);
    await phone.call('ensureKey', { nationalCode });
    expect(await keyOf()).not.toBe(first);
    expect(await phone.items()).toHaveLength(2);
  });

  test.each(['', ' ', '\u0000', 'a\u0000b', '\uFEFF1', '１', '𝟘', 'é', 'e\u0301'])(
    'belong to the person byte for byte: %j',
    async (person) => {
      const phone = await startPhone();
      await phone.call('ensureKey', { nationalCode: person });
      expect(await phone.call('hasKey', { nationalCode: person })).toEqual({ exists: true });
      for (const another of [`${person} `, person.normalize('NFKD'), person.replace('\u0000', ''), person.trim()]) {
        expect(await phone.call('hasKey', { nationalCode: another })).toEqual({ exists: another === person });
      }
      expect((await phone.items())[0]).toMatchObject({ tag: `com.solbera.app.privatekey.${person}` });
    },
  );
});

describe('the state of the phone', () => {
  test('is changed where it is named and nowhere else, and is announced', async () => {
    const phone = await startPhone();
    const announced = next(phone, 'state');
    await phone.set({ biometry: 'touchID', enrolled: false, lockedOut: undefined });
    await announced;
    const changed = { biometry: 'touchID', enrolled: false, lockedOut: false, locked: false, firstUnlock: true };
    expect(await phone.state()).toEqual(changed);
    await phone.set({});
    expect(await phone.state()).toEqual(changed);
  });

  test('takes back what it returned', async () => {
    const phone = await startPhone();
    await phone.set({ biometry: 'opticID', enrolled: false, lockedOut: true, firstUnlock: false });
    const state = await phone.state();
    await phone.reset();
    await phone.set(state);
    expect(await phone.state()).toEqual(state);
  });

  test('is unlocked for the first time when it is unlocked, and locked when it was just started', async () => {
    const phone = await startPhone();
    await phone.set({ firstUnlock: false });
    expect(await phone.state()).toMatchObject({ locked: true, firstUnlock: false });
    await phone.set({ locked: false });
    expect(await phone.state()).toMatchObject({ locked: false, firstUnlock: true });
    await phone.set({ locked: true });
    expect(await phone.state()).toMatchObject({ locked: true, firstUnlock: true });
  });

  test.each([
    [{ locked: false, firstUnlock: false }, RangeError, /locked false does not go with firstUnlock false/],
    [
      { colour: 'red' },
      TypeError,
      'set does not know "colour". It takes biometry, enrolled, lockedOut, locked, firstUnlock.',
    ],
    [{ failedPrompts: 0 }, TypeError, /does not know "failedPrompts"/],
    [
      { biometry: 'FaceID' },
      TypeError,
      /takes 'none', 'touchID', 'faceID' or 'opticID' as biometry, and this is "FaceID"/,
    ],
    [{ enrolled: 1 }, TypeError, 'set takes true or false as enrolled, and this is 1.'],
    [{ lockedOut: null }, TypeError, /as lockedOut, and this is null/],
    [null, TypeError, 'set takes an object, and this is null.'],
    ['locked', TypeError, 'set takes an object, and this is "locked".'],
  ])('refuses %j whole', async (change, kind, sentence) => {
    const phone = await startPhone();
    const before = await phone.state();
    const refused = phone.set(
      (change && typeof change === 'object' ? { enrolled: false, ...change } : change) as object,
    );
    await expect(refused).rejects.toThrow(kind);
    await expect(refused).rejects.toThrow(sentence);
    expect(await phone.state()).toEqual(before);
  });
});

describe('a phone that is locked', () => {
  const outOfReach = (sentence: string) => ({
    hasKey: { exists: false },
    getKeyInfo: 'not found',
    ensureKey: `ensure_key_failed: ${sentence}`,
    createCSR: `ensure_key_failed: ${sentence}`,
    storeCertificate: 'Certificate is not valid (key missing)',
    signDigest: 'sign_failed',
    deleteKey: { deleted: true },
  });

  /** Has a phone with a key and a certificate, and brings it into `state`. */
  async function lockedPhone(state: Partial<PhoneState>) {
    const phone = await startPhone({ prompts: 'match' });
    await phone.call('ensureKey', { nationalCode });
    const { csrPem } = (await phone.call('createCSR', { userInfo })) as { csrPem: string };
    const certPem = await openssl.issue(csrPem);
    await phone.call('storeCertificate', { nationalCode, certPem });
    await phone.set(state);
    return { phone, certPem };
  }

  test.each([
    [{ locked: true }, 'The device is locked.'],
    [{ firstUnlock: false }, 'The device has not been unlocked since it was started.'],
  ])('in the state %j keeps its keys out of reach', async (state, sentence) => {
    const { phone, certPem } = await lockedPhone(state);
    for (const [method, outcome] of Object.entries(outOfReach(sentence))) {
      const call = callAnyhow(phone, method, { nationalCode, userInfo, certPem, digestB64: '' });
      const described = call.catch(({ message, code }) => (code ? `${message}: ${code}` : message));
      expect([method, await described]).toEqual([method, outcome]);
    }
    await phone.set({ locked: false });
    expect(await outcomeOf(sign(phone))).toBe('resolved');
  });

  test('keeps the certificate in reach, and loses it to deleteKey, if it was unlocked before', async () => {
    const { phone, certPem } = await lockedPhone({ locked: true });
    expect(await phone.call('getCertificate', { nationalCode })).toEqual({ certPem });
    await phone.call('deleteKey', { nationalCode });
    expect((await phone.items()).map((item) => item.class)).toEqual(['privateKey', 'publicKey']);
  });

  test('keeps every item out of reach if it was never unlocked', async () => {
    const { phone, certPem } = await lockedPhone({ firstUnlock: false });
    expect(await phone.call('getCertificate', { nationalCode })).toEqual({ certPem: null });
    await phone.call('deleteKey', { nationalCode });
    await phone.set({ locked: false });
    expect(await phone.call('getCertificate', { nationalCode })).toEqual({ certPem });
  });
});

describe('the console has the lines of the phone', () => {
  const statuses = (first: number, second: number) => [
    `🔑 forceDeleteAllKeys private status: ${first}`,
    `🔑 forceDeleteAllKeys public  status: ${second}`,
  ];

  test('when keys are replaced, and announces them', async () => {
    const phone = await startPhone();
    const announced = next(phone, 'console');
    await phone.call('ensureKey', { nationalCode });
    await announced;
    expect(phone.console).toEqual([...statuses(-25300, -25300), ...statuses(-25300, -25300)]);
    await phone.call('ensureKey', { nationalCode });
    expect(phone.console.slice(4)).toEqual([...statuses(0, 0), ...statuses(-25300, -25300)]);
  });

  test('when the phone is locked', async () => {
    const phone = await startPhone();
    await phone.call('ensureKey', { nationalCode });
    const before = phone.console.length;
    await phone.set({ locked: true });
    await outcomeOf(phone.call('ensureKey', { nationalCode }));
    const sentence = 'The device is locked.';
    expect(phone.console.slice(before)).toEqual([
      ...statuses(-25308, -25308),
      ...statuses(-25308, -25308),
      `❌ SecKeyCreateRandomKey error: Error Domain=NSOSStatusErrorDomain Code=-25308 "${sentence}" ` +
        `UserInfo={NSLocalizedDescription=${sentence}}`,
    ]);
  });

  test('of which the latest thousand are kept', async () => {
    const phone = await startPhone();
    for (let call = 0; call < 300; ++call) void phone.call('deleteKey', { nationalCode });
    await phone.call('ensureKey', { nationalCode });
    await phone.call('ensureKey', { nationalCode });
    for (let call = 0; call < 300; ++call) void phone.call('deleteKey', { nationalCode });
    await phone.items();
    expect(phone.console).toHaveLength(1000);
    expect(phone.console.slice(-2)).toEqual(statuses(-25300, -25300));
    expect(phone.console.filter((line) => line.endsWith(': 0'))).toHaveLength(4);
  });
});
