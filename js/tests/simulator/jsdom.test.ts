// @vitest-environment jsdom

import { expect, test, vi } from 'vitest';

import type { Simulator } from './phone.js';
import { nationalCode, outcomeOf, sign, startPhone, userInfo } from './phone.js';

test('in jsdom, which has no modal dialogs, a phone is kept in memory, cancels its prompts and has no panel', async () => {
  const phone = await startPhone();
  expect([phone.storage, phone.prompts]).toEqual(['memory', 'cancel']);
  expect(document.querySelector('kavrel-simulator')).toBe(null);
});

test('a dialog that a test imitates does not make a person of whoever runs it', async () => {
  HTMLDialogElement.prototype.showModal = vi.fn();
  const phone = await startPhone();
  expect([phone.storage, phone.prompts, document.querySelector('kavrel-simulator')]).toEqual([
    'memory',
    'cancel',
    null,
  ]);
});

test('the promise of the phone is where a browser driver finds it, while it runs', async () => {
  const page = window as { kavrelSimulator?: Promise<Simulator> };
  const phone = await startPhone();
  expect(await page.kavrelSimulator).toBe(phone);
  await phone.stop();
  expect('kavrelSimulator' in page).toBe(false);
});

test('in jsdom a person is enrolled and signs', async () => {
  const phone = await startPhone({ prompts: 'match' });
  expect(await phone.call('ensureKey', { nationalCode })).toEqual({ ok: true });
  expect(await phone.call('createCSR', { userInfo })).toEqual({ csrPem: expect.stringMatching(/^MII/) });
  expect(await outcomeOf(sign(phone))).toBe('resolved');
});
