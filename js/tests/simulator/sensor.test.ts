import { expect, test } from 'vitest';

import type { PhoneState, PromptAnswer } from '../../src/simulator/definitions.js';
import { Sensor } from '../../src/simulator/device/sensor.js';
import { Keychain } from '../../src/simulator/keychain/keychain.js';
import { MemoryStorage } from '../../src/simulator/keychain/memory.js';

/** Starts a sensor on a phone of its own. */
async function sensorIn(state: Partial<PhoneState>): Promise<Sensor> {
  const keychain = new Keychain(new MemoryStorage(), () => undefined);
  await keychain.changeState((present) => ({ ...present, ...state }));
  return new Sensor(keychain, 'match', () => undefined);
}

/** The codes of LocalAuthentication's LAError. */
const codes = { failed: -1, userCancel: -2, systemCancel: -4, notAvailable: -6, notEnrolled: -7, lockout: -8 };

test.each<[PromptAnswer, keyof typeof codes]>([
  ['no-match', 'failed'],
  ['cancel', 'userCancel'],
  ['interrupt', 'systemCancel'],
])('a prompt that ends with %s gives LAError %s', async (answer, error) => {
  const sensor = await sensorIn({});
  sensor.answerNext([answer]);
  expect(await sensor.evaluate('Sign')).toMatchObject({
    domain: 'com.apple.LocalAuthentication',
    code: codes[error],
  });
  expect(await sensor.evaluate('Sign')).toBe(null);
});

test('a prompt that another one ends gives LAError systemCancel', async () => {
  const sensor = await sensorIn({});
  sensor.prompts = 'ask';
  const first = sensor.evaluate('Sign');
  await sensor.nextPrompt();
  sensor.answerNext(['match']);
  expect(await sensor.evaluate('Sign again')).toBe(null);
  expect(await first).toMatchObject({ code: codes.systemCancel });
});

test.each<[Partial<PhoneState>, keyof typeof codes]>([
  [{ biometry: 'none', enrolled: false, lockedOut: true }, 'notAvailable'],
  [{ enrolled: false, lockedOut: true }, 'notEnrolled'],
  [{ lockedOut: true }, 'lockout'],
])('in the state %j an evaluation gives LAError %s', async (state, error) => {
  expect(await (await sensorIn(state)).evaluate('Sign')).toMatchObject({ code: codes[error] });
});
