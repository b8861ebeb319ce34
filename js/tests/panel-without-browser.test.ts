// @vitest-environment jsdom

import { afterEach, expect, test, vi } from 'vitest';

import { mountPanel } from '../src/simulator/panel/index.js';

import { ScriptedPhone } from './panel/phone.js';

afterEach(() => vi.unstubAllGlobals());

test.each(['absent', 'mocked'])('the panel is mounted and taken away again where showModal is %s', async (modal) => {
  if (modal === 'mocked') HTMLDialogElement.prototype.showModal = vi.fn();
  const phone = new ScriptedPhone();
  const takeAway = mountPanel(phone);
  expect(document.querySelector('kavrel-simulator')!.shadowRoot!.textContent).toBe('Simulator');
  if (modal === 'mocked') {
    const answer = phone.ask('Sign');
    phone.prompt!.match();
    expect(await answer).toBe('match');
    await new Promise((resolve) => setTimeout(resolve));
  }
  takeAway();
  expect(document.querySelector('kavrel-simulator')).toBe(null);
});
