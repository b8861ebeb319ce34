import { describe, expect, test } from 'vitest';

import { nationalCode, next, outcomeOf, sign, startPhone, staysPending } from './phone.js';

async function enrolledPhone(prompts: 'ask' | 'match' | 'no-match' | 'cancel') {
  const phone = await startPhone({ prompts });
  await phone.call('ensureKey', { nationalCode });
  return phone;
}

describe('a prompt that answers itself', () => {
  test.each([
    ['match', 'resolved'],
    ['no-match', 'sign_failed'],
    ['cancel', 'sign_failed'],
  ] as const)('with %s', async (policy, outcome) => {
    const phone = await enrolledPhone(policy);
    expect(await outcomeOf(sign(phone))).toBe(outcome);
    expect(phone.prompt).toBe(null);
  });
});

describe('a prompt that asks', () => {
  test('is up with its reason until it is answered, and is announced when it comes and goes', async () => {
    const phone = await enrolledPhone('ask');
    const came = next(phone, 'prompt');
    const call = sign(phone);
    await came;
    const prompt = await phone.nextPrompt();
    expect(prompt.reason).toBe('Authenticate to sign');
    expect(await staysPending(call)).toBe(true);
    const went = next(phone, 'prompt');
    prompt.match();
    await went;
    expect(phone.prompt).toBe(null);
    expect(await outcomeOf(call)).toBe('resolved');
  });

  test.each(['match', 'noMatch', 'cancel', 'interrupt'] as const)('takes %s as its only answer', async (answer) => {
    const phone = await enrolledPhone('ask');
    const call = sign(phone);
    const prompt = await phone.nextPrompt();
    prompt[answer]();
    prompt.match();
    prompt.cancel();
    expect(await outcomeOf(call)).toBe(answer === 'match' ? 'resolved' : 'sign_failed');
  });

  test('does not keep other calls waiting', async () => {
    const phone = await enrolledPhone('ask');
    const call = sign(phone);
    const prompt = await phone.nextPrompt();
    expect(await phone.call('hasKey', { nationalCode })).toEqual({ exists: true });
    prompt.cancel();
    expect(await outcomeOf(call)).toBe('sign_failed');
  });

  test('stays up when the policy changes, which takes effect with the next one', async () => {
    const phone = await enrolledPhone('ask');
    const call = sign(phone);
    const prompt = await phone.nextPrompt();
    const announced = next(phone, 'prompts');
    phone.prompts = 'match';
    await announced;
    expect(phone.prompt).toBe(prompt);
    prompt.cancel();
    expect(await outcomeOf(call)).toBe('sign_failed');
    expect(await outcomeOf(sign(phone))).toBe('resolved');
  });

  test('is interrupted by the next one, as two that overlap are on the phone', async () => {
    const phone = await enrolledPhone('ask');
    const first = sign(phone);
    const prompt = await phone.nextPrompt();
    const second = sign(phone);
    expect(await outcomeOf(first)).toBe('sign_failed');
    const after = await phone.nextPrompt();
    expect(after).not.toBe(prompt);
    prompt.cancel(); // it is too late for that
    after.match();
    expect(await outcomeOf(second)).toBe('resolved');
    expect(phone.prompt).toBe(null);
  });
});

describe('the next prompt', () => {
  test('comes up for whoever waits for it, whatever the policy is', async () => {
    const phone = await enrolledPhone('cancel');
    const [one, another] = [phone.nextPrompt(), phone.nextPrompt()];
    const call = sign(phone);
    expect(await one).toBe(await another);
    expect(await phone.nextPrompt()).toBe(await one);
    (await one).match();
    expect(await outcomeOf(call)).toBe('resolved');
    expect(await outcomeOf(sign(phone))).toBe('sign_failed');
  });

  test('is not waited for any more when the phone stops', async () => {
    const phone = await startPhone();
    const waiting = phone.nextPrompt();
    await Promise.all([
      expect(waiting).rejects.toMatchObject({ code: 'UNAVAILABLE', message: /The simulator was stopped/ }),
      phone.stop(),
    ]);
    await expect(phone.nextPrompt()).rejects.toMatchObject({ code: 'UNAVAILABLE' });
  });
});

describe('answers for the next prompts', () => {
  test('are given one each, and then the policy decides', async () => {
    const phone = await enrolledPhone('match');
    phone.answerNext('no-match', 'match');
    phone.answerNext('interrupt', 'cancel');
    const outcomes: string[] = [];
    for (let prompts = 0; prompts < 5; ++prompts) outcomes.push(await outcomeOf(sign(phone)));
    expect(outcomes).toEqual(['sign_failed', 'resolved', 'sign_failed', 'sign_failed', 'resolved']);
  });

  test('leave the prompt that is up, which the answered one ends', async () => {
    const phone = await enrolledPhone('ask');
    const first = sign(phone);
    const prompt = await phone.nextPrompt();
    phone.answerNext('match');
    expect(phone.prompt).toBe(prompt);
    const second = sign(phone);
    expect([await outcomeOf(first), await outcomeOf(second)]).toEqual(['sign_failed', 'resolved']);
  });

  test.each([['ask'], ['noMatch'], [undefined]])('cannot be %j', async (answer) => {
    const phone = await startPhone();
    const sentence = `answerNext takes 'match', 'no-match', 'cancel' or 'interrupt', and this is `;
    expect(() => phone.answerNext('match', answer as never)).toThrow(TypeError);
    expect(() => phone.answerNext(answer as never)).toThrow(sentence);
  });
});

describe('a match counts only if the sensor could still be asked:', () => {
  test.each([{ lockedOut: true }, { biometry: 'none' }, { enrolled: false }] as const)(
    'not after %j',
    async (state) => {
      const phone = await enrolledPhone('no-match');
      await outcomeOf(sign(phone)); // so that there is a failure to forget
      phone.prompts = 'ask';
      const call = sign(phone);
      const prompt = await phone.nextPrompt();
      await phone.set(state);
      prompt.match();
      expect(await outcomeOf(call)).toBe('sign_failed');
      expect(await phone.state()).toMatchObject(state);
    },
  );

  test('nor at once, with no failure to forget', async () => {
    const phone = await enrolledPhone('ask');
    const call = sign(phone);
    const prompt = await phone.nextPrompt();
    await phone.set({ enrolled: false });
    prompt.match();
    expect(await outcomeOf(call)).toBe('sign_failed');
  });
});

test('a failure leaves a lockout that was set while the prompt was up', async () => {
  const phone = await enrolledPhone('ask');
  const call = sign(phone);
  const prompt = await phone.nextPrompt();
  await phone.set({ lockedOut: true });
  prompt.noMatch();
  expect(await outcomeOf(call)).toBe('sign_failed');
  expect(await phone.state()).toMatchObject({ lockedOut: true });
});

describe('an unknown policy', () => {
  test.each([['yes'], [undefined], [null], [{}]])('%j is refused, and the present one stays', async (policy) => {
    const phone = await startPhone();
    expect(() => (phone.prompts = policy as never)).toThrow(TypeError);
    expect(phone.prompts).toBe('cancel');
  });
});

describe('the system cancels the prompt that is up and those that wait', () => {
  test.each([
    ['when the phone is locked', (phone) => phone.set({ locked: true })],
    ['when the phone is started', (phone) => phone.set({ firstUnlock: false })],
    ['when the phone is reset', (phone) => phone.reset()],
    ['when the simulator stops', (phone) => phone.stop()],
  ] as [string, (phone: Awaited<ReturnType<typeof startPhone>>) => Promise<void>][])('%s', async (_, change) => {
    const phone = await enrolledPhone('ask');
    const calls = [sign(phone), sign(phone)];
    await phone.nextPrompt();
    await change(phone);
    expect(await Promise.all(calls.map(outcomeOf))).toEqual(['sign_failed', 'sign_failed']);
    expect(phone.prompt).toBe(null);
  });

  test('and does not count that as a failure', async () => {
    const phone = await enrolledPhone('ask');
    for (let times = 0; times < 6; ++times) {
      const call = sign(phone);
      await phone.nextPrompt();
      await phone.set({ locked: true });
      await outcomeOf(call);
      await phone.set({ locked: false });
    }
    expect(await phone.state()).toMatchObject({ lockedOut: false });
  });
});

describe('the sensor', () => {
  test.each([
    [{}, { enabled: true, status: 'BIOMETRIC_SUCCESS', type: 2 }],
    [{ biometry: 'touchID' }, { enabled: true, status: 'BIOMETRIC_SUCCESS', type: 1 }],
    [{ biometry: 'opticID' }, { enabled: true, status: 'BIOMETRIC_SUCCESS', type: 4 }],
    [{ biometry: 'none' }, { enabled: false, status: 'BIOMETRIC_ERROR_NO_HARDWARE', type: 0 }],
    [{ enrolled: false }, { enabled: false, status: 'BIOMETRIC_ERROR_NONE_ENROLLED', type: 2 }],
    [{ lockedOut: true }, { enabled: false, status: 'BIOMETRIC_ERROR_LOCKOUT', type: 2 }],
    [
      { enrolled: false, lockedOut: true },
      { enabled: false, status: 'BIOMETRIC_ERROR_NONE_ENROLLED', type: 2 },
    ],
  ] as const)('in the state %j has the status %j', async (state, status) => {
    const phone = await startPhone();
    await phone.set(state);
    expect(await phone.call('getBiometricStatus')).toEqual(status);
  });

  test.each([{ biometry: 'none' }, { enrolled: false }, { lockedOut: true }] as const)(
    'in the state %j shows no prompt',
    async (state) => {
      const phone = await enrolledPhone('ask');
      await phone.set(state);
      expect(await outcomeOf(sign(phone))).toBe('sign_failed');
    },
  );

  test('locks itself out after five prompts in a row without a match', async () => {
    const phone = await enrolledPhone('no-match');
    for (let failures = 1; failures <= 5; ++failures) {
      expect(await phone.state()).toMatchObject({ lockedOut: false });
      await outcomeOf(sign(phone));
    }
    expect(await phone.state()).toMatchObject({ lockedOut: true });
    phone.prompts = 'match';
    expect(await outcomeOf(sign(phone))).toBe('sign_failed');
    await phone.set({ lockedOut: false });
    expect(await outcomeOf(sign(phone))).toBe('resolved');
  });

  test.each([
    ['a match forgets', async (phone) => ((phone.prompts = 'match'), outcomeOf(sign(phone)))],
    ['lifting the lockout forgets', (phone) => phone.set({ lockedOut: false })],
  ] as [string, (phone: Awaited<ReturnType<typeof startPhone>>) => Promise<unknown>][])(
    '%s the failures before',
    async (_, forget) => {
      const phone = await enrolledPhone('no-match');
      for (let failures = 1; failures <= 4; ++failures) await outcomeOf(sign(phone));
      await forget(phone);
      phone.prompts = 'no-match';
      for (let failures = 1; failures <= 4; ++failures) await outcomeOf(sign(phone));
      expect(await phone.state()).toMatchObject({ lockedOut: false });
      await outcomeOf(sign(phone));
      expect(await phone.state()).toMatchObject({ lockedOut: true });
    },
  );

  test('does not count a prompt that the person cancels', async () => {
    const phone = await enrolledPhone('cancel');
    for (let times = 0; times < 6; ++times) await outcomeOf(sign(phone));
    expect(await phone.state()).toMatchObject({ lockedOut: false });
  });
});
