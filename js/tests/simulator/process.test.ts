import { afterEach, describe, expect, test, vi } from 'vitest';

import type { Simulator } from './phone.js';
import { callAnyhow, nationalCode, next, outcomeOf, sign, startPhone, startSimulator, staysPending } from './phone.js';

afterEach(() => vi.restoreAllMocks());

describe('the log', () => {
  test('records each call when it is made, and again when it ends', async () => {
    const phone = await startPhone();
    const made = next(phone, 'log');
    const call = phone.call('hasKey', { nationalCode });
    await made;
    const calledAt = expect.any(Date);
    expect(phone.log).toEqual([{ id: 1, method: 'hasKey', options: { nationalCode }, calledAt, outcome: 'pending' }]);
    await call;
    expect(phone.log).toEqual([
      {
        id: 1,
        method: 'hasKey',
        options: { nationalCode },
        calledAt,
        outcome: 'resolved',
        duration: expect.any(Number),
        result: { exists: false },
      },
    ]);
  });

  test('records why a call was rejected', async () => {
    const phone = await startPhone();
    await outcomeOf(phone.call('getKeyInfo', { nationalCode }));
    expect(phone.log).toMatchObject([{ outcome: 'rejected', error: { message: 'not found' } }]);
    await phone.set({ locked: true });
    await outcomeOf(phone.call('ensureKey', { nationalCode }));
    expect(phone.log[1].error).toEqual({ message: 'ensure_key_failed', code: 'The device is locked.' });
  });

  test('keeps the latest thousand calls, each with its own end', async () => {
    const phone = await startPhone({ prompts: 'ask' });
    const first = sign(phone);
    const prompt = await phone.nextPrompt();
    const calls = Array.from({ length: 1500 }, (_, index) => phone.call('hasKey', { nationalCode: `${index}` }));
    await Promise.all(calls);
    prompt.cancel();
    await outcomeOf(first);
    expect(phone.log).toHaveLength(1000);
    expect(phone.log.map(({ id }) => id)).toEqual(Array.from({ length: 1000 }, (_, index) => index + 502));
    expect(phone.log.map(({ options }) => Number((options as { nationalCode: string }).nationalCode) + 2)).toEqual(
      phone.log.map(({ id }) => id),
    );
    expect(new Set(phone.log.map(({ outcome }) => outcome))).toEqual(new Set(['resolved']));
  });
});

describe('reset', () => {
  test('empties the keychain and makes the phone a new one, and keeps policy and log', async () => {
    const phone = await startPhone({ prompts: 'no-match' });
    await phone.call('ensureKey', { nationalCode });
    const fresh = await phone.state();
    await phone.set({ biometry: 'touchID', enrolled: false, lockedOut: true, firstUnlock: false });
    await phone.reset();
    expect([await phone.items(), await phone.state()]).toEqual([[], fresh]);
    expect([phone.prompts, phone.log.length]).toEqual(['no-match', 1]);
  });

  test('forgets the failed prompts', async () => {
    const phone = await startPhone({ prompts: 'no-match' });
    await phone.call('ensureKey', { nationalCode });
    for (let failures = 1; failures <= 4; ++failures) await outcomeOf(sign(phone));
    await phone.reset();
    await outcomeOf(sign(phone));
    expect(await phone.state()).toMatchObject({ lockedOut: false });
  });

  test('comes after the calls that were made before it, and before those made after it', async () => {
    const phone = await startPhone();
    const before = phone.call('ensureKey', { nationalCode });
    const reset = phone.reset();
    const after = phone.call('ensureKey', { nationalCode: 'another' });
    await Promise.all([before, reset, after]);
    expect((await phone.items()).map((item) => 'tag' in item && item.tag.split('.').pop())).toEqual([
      'another',
      'another',
    ]);
  });
});

describe('restart', () => {
  test('starts the app again over the same keychain and state', async () => {
    const phone = await startPhone({ prompts: 'match' });
    await phone.call('ensureKey', { nationalCode });
    await phone.set({ biometry: 'touchID' });
    const [items, state] = [await phone.items(), await phone.state()];
    const started = next(phone, 'started');
    await phone.restart();
    await started;
    expect([await phone.items(), await phone.state()]).toEqual([items, state]);
    expect(await outcomeOf(sign(phone))).toBe('resolved');
  });

  test('leaves pending forever what was pending, and takes its prompt away', async () => {
    const phone = await startPhone({ prompts: 'ask' });
    await phone.call('ensureKey', { nationalCode });
    const shown = sign(phone);
    await phone.nextPrompt();
    const working = phone.call('ensureKey', { nationalCode: 'working' });
    const waiting = phone.call('hasKey', { nationalCode });
    await phone.restart();
    expect(await phone.call('hasKey', { nationalCode })).toEqual({ exists: true });
    expect(phone.prompt).toBe(null);
    expect(await Promise.all([shown, working, waiting].map((call) => staysPending(call, 500)))).toEqual([
      true,
      true,
      true,
    ]);
    expect(phone.log.map(({ outcome }) => outcome)).toEqual([
      'resolved',
      'unfinished',
      'unfinished',
      'unfinished',
      'resolved',
    ]);
  });

  test('keeps what was under way from storing anything later', async () => {
    const phone = await startPhone();
    void phone.call('ensureKey', { nationalCode });
    await new Promise((resolve) => setTimeout(resolve, 5)); // the key is being generated
    await phone.restart();
    await new Promise((resolve) => setTimeout(resolve, 500));
    expect(await phone.items()).toEqual([]);
  });

  test('twice at once starts one app', async () => {
    const phone = await startPhone();
    await Promise.all([phone.restart(), phone.restart()]);
    expect(await phone.call('hasKey', { nationalCode })).toEqual({ exists: false });
  });
});

describe('stop', () => {
  test('lets what is pending settle first', async () => {
    const phone = await startSimulator({ prompts: 'match' });
    const calls = [phone.call('ensureKey', { nationalCode }), sign(phone), phone.call('hasKey', { nationalCode })];
    const stopped = next(phone, 'stopped');
    await phone.stop();
    await stopped;
    expect(phone.failure).toBe(null);
    expect(await Promise.all(calls.map(outcomeOf))).toEqual(['resolved', 'sign_failed', 'resolved']);
  });

  test('does not wait for setStyle, which is never finished', async () => {
    const phone = await startSimulator();
    const call = callAnyhow(phone, 'setStyle');
    await phone.stop();
    expect(await staysPending(call)).toBe(true);
  });

  test('twice is once', async () => {
    const phone = await startSimulator();
    expect(phone.stop()).toBe(phone.stop());
    await phone.stop();
  });

  test.each([
    ['call', (phone) => phone.call('hasKey', { nationalCode })],
    ['state', (phone) => phone.state()],
    ['set', (phone) => phone.set({ locked: true })],
    ['items', (phone) => phone.items()],
    ['reset', (phone) => phone.reset()],
    ['restart', (phone) => phone.restart()],
  ] as [string, (phone: Simulator) => Promise<unknown>][])('leaves a phone whose %s is refused', async (_, use) => {
    const phone = await startSimulator();
    await phone.stop();
    await expect(use(phone)).rejects.toMatchObject({
      code: 'UNAVAILABLE',
      message: 'The simulator was stopped. Start it again with startSimulator().',
    });
  });
});
