import { join } from 'node:path';
import { describe, expect, test } from 'vitest';

import type { DigitalSignPlugin } from '../src/definitions.js';

import { read, tree } from './app.js';
import type { PlatformOperation, Simulator } from './simulator/phone.js';
import { nationalCode, startPhone, userInfo } from './simulator/phone.js';

const page = await read(tree, join('docs', 'develop-without-a-phone.md'));
const rows = [...page.matchAll(/^\| `'(\w+)'(?:, \{ after: (\d) \})?` \| `(\w+)` \| (.+) \|$/gm)].map(
  ([, operation, after = '0', method, end]) => [operation, after, method, end] as const,
);

/** How the calls end that do not reject: by the result, or by what is in the keychain afterwards. */
const ends: Record<string, (result: object | undefined, phone: Simulator, before: string[]) => unknown> = {
  'resolves, and the slot is empty': async (_, phone) =>
    expect(await phone.call('getCertificate', { nationalCode })).toEqual({ certPem: null }),
  'resolves, and the old certificate stays': async (_, phone, before) => expect(await items(phone)).toEqual(before),
  'resolves, and the old private key stays without its public half': async (_, phone, [key, , certificate]) =>
    expect(await items(phone)).toEqual([key, certificate]),
  'resolves, and the private key stays': async (_, phone, [key]) => expect(await items(phone)).toEqual([key]),
  'resolves, and the public key stays': async (_, phone, [, key]) => expect(await items(phone)).toEqual([key]),
  'resolves, and the certificate stays': async (_, phone, [, , slot]) => expect(await items(phone)).toEqual([slot]),
  'resolves as if there were no key': (result) => expect(result).toEqual({ exists: false }),
  'resolves as if the slot were empty': (result) => expect(Object.values(result!)).toContain(null),
  'never ends: the app has stopped, and `failure` says why': (_, phone) => expect(phone.failure).toMatch(/./),
};

/** The keychain's items, each as a word that tells it from its successors. */
const items = async (phone: Simulator): Promise<string[]> =>
  (await phone.items()).map((item) => `${item.class} of ${item.createdAt.getTime()}`);

describe('the table of faults says how a call ends', () => {
  test('for every operation that can fail', () => {
    const operations = ['generateKey', 'addItem', 'deleteItem', 'findItem', 'readItem', 'exportKey', 'sign', 'verify'];
    expect([...new Set(rows.map(([operation]) => operation))]).toEqual(operations);
  });

  test.each(rows)('failNext(%s, after %s), %s: %s', async (operation, after, method, end) => {
    const phone = await startPhone({ people: [{ nationalCode, certificate: true }], keys: 'reused', prompts: 'match' });
    const { certPem } = await phone.call('getCertificate', { nationalCode });
    const before = await items(phone);
    await new Promise((resolve) => setTimeout(resolve, 2)); // what is stored from now on is younger
    const options = { nationalCode, certPem, userInfo, digestB64: btoa('Hello') };

    phone.failNext(operation as PlatformOperation, { after: Number(after) });
    const call = phone.call(method as keyof DigitalSignPlugin, options as never) as Promise<object>;
    const stopped = new Promise<undefined>((resolve) => phone.addEventListener('stopped', () => resolve(undefined)));

    const message = end.match(/^rejects with `(.+)`$/)?.[1];
    if (message) await expect(call).rejects.toMatchObject({ message });
    else await ends[end](await Promise.race([call, stopped]), phone, before);
  });
});
