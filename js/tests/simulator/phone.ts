import { join } from 'node:path';
import { afterEach, inject } from 'vitest';

import { run } from '../app.js';

// eslint-disable-next-line @typescript-eslint/consistent-type-imports
type Package = typeof import('../../src/simulator/index.js');

export type * from '../../src/simulator/index.js';

/** The file of the installed package that `path` names below js/dist. */
export const installed = (path: string): string => join(inject('app'), 'node_modules/kavrel-crypto/js/dist', path);

export const { startSimulator }: Package = await import(installed('simulator/index.js'));

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

/** Runs the openssl command in `folder`, and gives what it prints. */
export async function openssl(folder: string, ...args: string[]): Promise<string> {
  const { stdout, stderr } = await run('openssl', args, { cwd: folder });
  return stdout + stderr;
}
