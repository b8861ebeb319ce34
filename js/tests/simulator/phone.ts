import { join } from 'node:path';
import { afterEach, inject } from 'vitest';

import type { Simulator, SimulatorEvent } from '../../src/simulator/index.js';

// eslint-disable-next-line @typescript-eslint/consistent-type-imports
export type Package = typeof import('../../src/simulator/index.js');

export type * from '../../src/simulator/index.js';

/** The file of the installed package that `path` names below js/dist. */
export const installed = (path: string): string => join(inject('app'), 'node_modules/kavrel-crypto/js/dist', path);

export const { startSimulator, TestAuthority }: Package = await import(installed('simulator/index.js'));

const phones: Awaited<ReturnType<typeof startSimulator>>[] = [];

afterEach(async () => {
  await Promise.all(phones.splice(0).map((phone) => phone.stop()));
});

/** Starts a phone that is stopped when the test ends. */
export const startPhone: typeof startSimulator = async (options) => {
  const phone = await startSimulator(options);
  phones.push(phone);
  return phone;
};

/** The national code of a person who exists nowhere. */
export const nationalCode = '0012345678';

/** A whole identity record. */
export const userInfo = {
  identificationId: '1',
  nationalCode,
  name: 'سارا',
  lastName: 'محمدی',
  enName: 'Sara',
  enLastName: 'Mohammadi',
  postalCode: '1234567890',
  phoneNumber: '09120000000',
  birthCertificateId: '7',
  birthDate: '1370/01/01',
  city: 'Shiraz',
  provinceName: 'Fars',
  gender: 'female',
  citizenship: 'IR',
};

/** Waits for the next event of `type`. */
export const next = (phone: Simulator, type: SimulatorEvent): Promise<object> =>
  new Promise((resolve) => phone.addEventListener(type, resolve, { once: true }));

/** Makes a call that TypeScript would not let through. */
export const callAnyhow = (phone: object, method: unknown, options?: unknown): Promise<object> =>
  (phone as { call(method: unknown, options: unknown): Promise<object> }).call(method, options);

/** Asks for a signature of no bytes. */
export const sign = (phone: Simulator): Promise<object> => phone.call('signDigest', { nationalCode, digestB64: '' });

/** Returns the outcome of a call: the message that it rejects with, or "resolved". */
export const outcomeOf = (call: Promise<unknown>): Promise<string> =>
  call.then(
    () => 'resolved',
    (error) => error.message,
  );

/** Whether `call` is still pending after `milliseconds`. */
export async function staysPending(call: Promise<unknown>, milliseconds = 50): Promise<boolean> {
  const later = new Promise((resolve) => setTimeout(resolve, milliseconds, 'pending'));
  return (await Promise.race([outcomeOf(call), later])) === 'pending';
}
