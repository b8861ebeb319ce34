// @vitest-environment jsdom

import { expect, test } from 'vitest';

import { nationalCode, outcomeOf, sign, startPhone, userInfo } from './phone.js';

test('in jsdom, which has no modal dialogs, a phone is kept in memory, cancels its prompts and has no panel', async () => {
  const phone = await startPhone();
  expect([phone.storage, phone.prompts]).toEqual(['memory', 'cancel']);
  expect(document.querySelector('kavrel-simulator')).toBe(null);
});

test('in jsdom a person is enrolled and signs', async () => {
  const phone = await startPhone({ prompts: 'match' });
  expect(await phone.call('ensureKey', { nationalCode })).toEqual({ ok: true });
  expect(await phone.call('createCSR', { userInfo })).toEqual({ csrPem: expect.stringMatching(/^MII/) });
  expect(await outcomeOf(sign(phone))).toBe('resolved');
});
