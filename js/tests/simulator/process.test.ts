import { afterEach, describe, expect, test, vi } from 'vitest';

import { generateKeyPair } from '../../src/simulator/keys/keys.js';

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

describe('what the log hands out', () => {
  test('is a copy that nobody can change', async () => {
    const phone = await startPhone();
    const result = await phone.call('hasKey', { nationalCode });
    Object.assign(result, { exists: true });
    (phone.log as unknown[]).length = 0;
    (phone.console as unknown[]).push('mine');
    const [{ options, result: logged }] = phone.log;
    expect(() => Object.assign(options, { nationalCode: '7' })).toThrow(TypeError);
    expect([options, logged, phone.console]).toEqual([{ nationalCode }, { exists: false }, []]);
  });

  test('is bounded by its length, and always has the latest call', async () => {
    const phone = await startPhone();
    const digestB64 = '-'.repeat(1_500_000);
    for (let call = 0; call < 4; ++call) await outcomeOf(phone.call('signDigest', { nationalCode, digestB64 }));
    expect(phone.log.map(({ id }) => id)).toEqual([3, 4]);
    await outcomeOf(phone.call('signDigest', { nationalCode, digestB64: digestB64.repeat(4) }));
    expect(phone.log).toMatchObject([{ id: 5, outcome: 'rejected' }]);
    await phone.call('hasKey', { nationalCode });
    expect(phone.log.map(({ id }) => id)).toEqual([6]);
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

  test('announces what it changes', async () => {
    const phone = await startPhone();
    const announced = Promise.all([next(phone, 'items'), next(phone, 'state')]);
    await phone.reset();
    await announced;
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
    const pair = await generateKeyPair(1024);
    let end: (pair: object) => void = () => undefined;
    const isAsked = new Promise<void>((resolve) => {
      vi.spyOn(crypto.subtle, 'generateKey').mockImplementationOnce(() => {
        resolve();
        return new Promise((generated) => (end = generated)) as never;
      });
    });
    void phone.call('ensureKey', { nationalCode });
    await isAsked;
    await phone.restart();
    end(pair);
    await phone.call('ensureKey', { nationalCode: 'another' }); // takes more turns than storing the key would
    expect((await phone.items()).map((item) => 'tag' in item && item.tag.split('.').pop())).toEqual([
      'another',
      'another',
    ]);
  });

  test('that fails says why, leaves a phone that says so too, and can be tried again', async () => {
    const phone = await startPhone();
    vi.spyOn(WebAssembly, 'instantiate').mockRejectedValueOnce(new Error('out of memory'));
    const stopped = next(phone, 'stopped');
    const restarted = phone.restart();
    const waiting = callAnyhow(phone, 'hasKey', { nationalCode });
    await expect(restarted).rejects.toThrow('out of memory');
    await stopped;
    expect(phone.failure).toBe('The app cannot be started again: out of memory');
    const call = phone.call('hasKey', { nationalCode });
    expect(phone.log.map(({ outcome }) => outcome)).toEqual(['unfinished', 'unfinished']);
    await phone.restart();
    expect([phone.failure, await phone.call('hasKey', { nationalCode })]).toEqual([null, { exists: false }]);
    expect(await Promise.all([waiting, call].map((pending) => staysPending(pending)))).toEqual([true, true]);
  });

  test('twice at once starts one app', async () => {
    const phone = await startPhone();
    await Promise.all([phone.restart(), phone.restart()]);
    expect(await phone.call('hasKey', { nationalCode })).toEqual({ exists: false });
  });
});

describe('a precondition that fails', () => {
  test('stops the app, as on the phone, until it is started again', async () => {
    const phone = await startPhone({ keys: 'reused', people: [{ nationalCode }] });
    const error = vi.spyOn(console, 'error').mockImplementation(() => undefined);
    phone.failNext('exportKey');
    const stopped = next(phone, 'stopped');
    const call = phone.call('getKeyInfo', { nationalCode });
    await stopped;
    const after = phone.call('hasKey', { nationalCode });
    expect(phone.failure).toBe('a public key that was just derived must be exportable');
    expect(await Promise.all([call, after].map((pending) => staysPending(pending)))).toEqual([true, true]);
    expect(phone.log.map(({ outcome }) => outcome)).toEqual(['unfinished', 'unfinished']);
    expect(error.mock.lastCall![0]).toMatch(
      /the app's process stopped, because .+ Start the app again with restart\(\)/,
    );
    await phone.restart();
    expect([phone.failure, await phone.call('hasKey', { nationalCode })]).toEqual([null, { exists: true }]);
  });
});

describe('stop', () => {
  test('ends after a restart that failed', async () => {
    const phone = await startSimulator();
    vi.spyOn(WebAssembly, 'instantiate').mockRejectedValueOnce(new Error('out of memory'));
    await expect(phone.restart()).rejects.toThrow();
    void phone.call('hasKey', { nationalCode });
    await phone.stop();
  });

  test('gives up what does not end', async () => {
    const phone = await startSimulator();
    vi.useFakeTimers({ toFake: ['setTimeout', 'clearTimeout'] });
    const isAsked = new Promise<void>((resolve) => {
      vi.spyOn(crypto.subtle, 'generateKey').mockImplementationOnce(() => {
        resolve();
        return new Promise(() => undefined) as never;
      });
    });
    void phone.call('ensureKey', { nationalCode });
    await isAsked;
    const stopped = phone.stop();
    await vi.runAllTimersAsync();
    vi.useRealTimers();
    await stopped;
    expect(phone.log).toMatchObject([{ outcome: 'unfinished' }]);
  });

  test('comes after what was asked of the phone before', async () => {
    const phone = await startSimulator();
    const state = phone.set({ locked: true }).then(() => phone.state.name);
    const items = phone.items();
    await phone.stop();
    expect(await Promise.all([state, items].map(outcomeOf))).toEqual(['resolved', 'resolved']);
  });

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
