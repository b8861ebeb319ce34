import type { Page } from 'playwright-core';
import { afterAll, afterEach, beforeAll, beforeEach, describe, expect, test } from 'vitest';

import { usePanelPages } from './panel/page.js';
import { ask, asked, focused, read } from './panel/states.js';

const open = usePanelPages();
let page: Page;

beforeAll(async () => {
  page = await open();
});

beforeEach(async () => {
  await page.evaluate(() => window.renew());
  await page.locator('#sign').focus();
});

afterAll(() => page.close());

const sheets = () => page.getByRole('alertdialog').count();
const told = async () => (await page.getByRole('status').allTextContents()).join();

test.each([
  ['m', 'match'],
  ['Shift+M', 'match'],
  ['n', 'noMatch'],
  ['c', 'cancel'],
  ['Escape', 'cancel'],
  ['Enter', 'match'],
  ['Tab Enter', 'noMatch'],
  ['Tab Tab Space', 'cancel'],
  ['Tab Tab Tab Enter', 'interrupt'],
  ['Tab Tab Tab Tab Enter', 'set {"locked":true}'],
  ['i', 'interrupt'],
  ['l', 'set {"locked":true}'],
])('the keys "%s" mean %s, close the sheet and give the focus back', async (keys, outcome) => {
  await ask(page);
  for (const key of keys.split(' ')) await page.keyboard.press(key);
  expect(await asked(page)).toEqual([outcome]);
  await expect.poll(sheets).toBe(0);
  expect(await focused(page)).toBe('sign');
});

test.each([
  ['Match', 'match', 'Recognised'],
  ['No match', 'noMatch', 'Not recognised'],
  ['Cancel', 'cancel', 'Cancelled'],
  ['Interrupt', 'interrupt', 'Interrupted by the system'],
  ['Lock the phone', 'set {"locked":true}', 'Locked: the system cancelled the prompt'],
])('the button "%s" answers, and what became of it is told', async (name, outcome, words) => {
  await ask(page);
  await page.getByRole('alertdialog').getByRole('button', { name, exact: true }).click();
  expect(await asked(page)).toEqual([outcome]);
  await expect.poll(told).toBe(words);
  expect(await sheets()).toBe(0);
  expect(await focused(page)).toBe('sign');
});

test('a screen reader is told the sensor, the reason and that nothing else can be reached', async () => {
  await ask(page, 'Authenticate to sign');
  const session = await page.context().newCDPSession(page);
  const { nodes } = await session.send('Accessibility.getFullAXTree');
  const sheet = nodes.find(({ role }) => role?.value === 'alertdialog')!;
  const property = (name: string) => sheet.properties?.find((property) => property.name === name)?.value.value;
  expect([sheet.name?.value, sheet.description?.value]).toEqual(['Simulated Face ID', 'Authenticate to sign']);
  expect(property('modal')).toBe(true);
  expect(
    nodes.filter(({ role, ignored }) => role?.value === 'button' && !ignored).map(({ name }) => name?.value),
  ).toEqual(['Match', 'No match', 'Cancel', 'Interrupt', 'Lock the phone']);
  expect(await focused(page)).toBe('Match');
});

test('the reason is a string and no markup', async () => {
  await ask(page, '<b>Sign</b> & pay');
  expect(await page.locator('#reason').textContent()).toBe('<b>Sign</b> & pay');
  expect(await page.locator('#reason *').count()).toBe(0);
});

test('the sheet names the sensor that the phone has', async () => {
  await page.evaluate(() => window.phone.set({ biometry: 'touchID' }));
  await ask(page);
  await page.getByRole('alertdialog', { name: 'Simulated Touch ID' }).waitFor();
});

test('a keyboard that writes another script has the same keys', async () => {
  const session = await page.context().newCDPSession(page);
  await ask(page);
  await session.send('Input.dispatchKeyEvent', {
    type: 'rawKeyDown',
    key: 'ئ',
    code: 'KeyM',
    windowsVirtualKeyCode: 77,
  });
  expect(await asked(page)).toEqual(['match']);
});

test('a key combination is the browser’s and answers nothing', async () => {
  await ask(page);
  for (const key of ['Control+m', 'Alt+m', 'Meta+m']) await page.keyboard.press(key);
  expect(await asked(page)).toEqual([]);
});

test('a key that was held down since before the prompt answers nothing', async () => {
  await page.evaluate(
    () => (document.querySelector<HTMLElement>('#sign')!.onclick = () => void window.phone.ask('Sign')),
  );
  await page.keyboard.down('Enter');
  await page.getByRole('alertdialog').waitFor();
  await read(page);
  await page.keyboard.down('Enter');
  await page.keyboard.up('Enter');
  expect(await asked(page)).toEqual([]);
  await read(page);
  await page.keyboard.press('Enter');
  expect(await asked(page)).toEqual(['match']);
  await page.evaluate(() => (document.querySelector<HTMLElement>('#sign')!.onclick = null));
});

test('who was typing when the sheet came up does not answer it before a pause', async () => {
  await page.evaluate(() => {
    const field = document.createElement('input');
    field.id = 'field';
    field.oninput = () => field.value === 'm' && void window.phone.ask('Sign');
    document.querySelector('main')!.append(field);
    field.focus();
  });
  await page.clock.pauseAt(Date.now() + 86_400_000);
  for (const key of 'mmn') await page.keyboard.press(key);
  await page.clock.runFor(400);
  for (const key of ['Enter', 'Space', 'Escape', 'Control+Enter', ...'mail me']) {
    await page.keyboard.press(key);
    await page.clock.runFor(200);
  }
  expect(await asked(page)).toEqual([]);
  await page.clock.runFor(400);
  await page.keyboard.press('Tab');
  await page.keyboard.press('Enter');
  expect(await asked(page)).toEqual(['noMatch']);
  await page.clock.resume();
  expect(await focused(page)).toBe('field');
  await page.evaluate(() => document.querySelector('#field')!.remove());
});

test('a key event that no keyboard made answers nothing', async () => {
  await ask(page);
  await page.evaluate(() => document.querySelector('#sign')!.dispatchEvent(new Event('keydown', { bubbles: true })));
  expect(await asked(page)).toEqual([]);
});

test('the keys work after a click beside the sheet', async () => {
  await ask(page);
  await page.mouse.click(5, 5);
  await page.keyboard.press('n');
  expect(await asked(page)).toEqual(['noMatch']);
});

test('every Escape cancels a prompt', async () => {
  for (const count of [1, 2, 3]) {
    await ask(page);
    await page.keyboard.press('Escape');
    await expect.poll(() => asked(page)).toHaveLength(count);
  }
  expect(await asked(page)).toEqual(['cancel', 'cancel', 'cancel']);
});

test('whatever closes the sheet cancels the prompt', async () => {
  await ask(page);
  await page.evaluate(() => document.querySelector('kavrel-simulator')!.shadowRoot!.querySelector('dialog')!.close());
  await expect.poll(() => asked(page)).toEqual(['cancel']);
});

test('a prompt that the program answers takes its sheet away and says nothing', async () => {
  await ask(page);
  await page.evaluate(() => window.phone.prompt!.match());
  await expect.poll(sheets).toBe(0);
  expect(await told()).toBe('');
  expect(await focused(page)).toBe('sign');
});

test('the next prompt has a sheet of its own, and the answer to the first is not its answer', async () => {
  await page.evaluate(() => void window.phone.ask('First').then(() => window.phone.ask('Second')));
  await read(page);
  await page.keyboard.press('m');
  await expect.poll(() => page.locator('#reason').textContent()).toBe('Second');
  expect(await asked(page)).toEqual(['match']);
  await read(page);
  await page.keyboard.press('c');
  expect(await asked(page)).toEqual(['match', 'cancel']);
  await expect.poll(sheets).toBe(0);
  expect(await focused(page)).toBe('sign');
});

test('an app that moves the focus when it hears of the answer keeps it there', async () => {
  await page.evaluate(() => {
    document.querySelector('h1')!.tabIndex = -1;
    document.querySelector('h1')!.id = 'done';
    void window.phone.ask('Sign').then(() => document.querySelector('h1')!.focus());
  });
  await read(page);
  await page.keyboard.press('m');
  await expect.poll(sheets).toBe(0);
  expect(await focused(page)).toBe('done');
});

describe('above a modal dialog of the app', () => {
  beforeEach(() => page.evaluate(() => document.querySelector<HTMLDialogElement>('#modal')!.showModal()));
  afterEach(() => page.evaluate(() => document.querySelector<HTMLDialogElement>('#modal')!.close()));

  test.each([
    ['a click', () => page.getByRole('button', { name: 'No match' }).click()],
    ['a key', () => page.keyboard.press('n')],
  ])('the sheet takes %s, and the dialog stays and has the focus again', async (_, answer) => {
    await page.locator('#pay').focus();
    await ask(page);
    await answer();
    expect(await asked(page)).toEqual(['noMatch']);
    await expect.poll(sheets).toBe(0);
    expect(await focused(page)).toBe('pay');
    expect(await page.evaluate(() => document.querySelector('#modal')!.matches(':modal'))).toBe(true);
  });

  test('Escape cancels the prompt and not the dialog', async () => {
    await ask(page);
    await page.keyboard.press('Escape');
    await expect.poll(() => asked(page)).toEqual(['cancel']);
    expect(await page.evaluate(() => document.querySelector('#modal')!.matches(':modal'))).toBe(true);
  });
});

describe('below a modal dialog of the app', () => {
  const modal = (act: 'showModal' | 'close') =>
    page.evaluate((act) => document.querySelector<HTMLDialogElement>('#modal')![act](), act);

  test('the sheet takes no key until the dialog is closed', async () => {
    await ask(page);
    await modal('showModal');
    await page.locator('#amount').focus();
    await page.keyboard.type('climb');
    await page.mouse.click(5, 5);
    await page.keyboard.type('climb');
    expect(await asked(page)).toEqual([]);
    expect(await page.locator('#amount').inputValue()).toBe('climb');
    await modal('close');
    await page.keyboard.press('i');
    expect(await asked(page)).toEqual(['interrupt']);
  });
});

test('a sensor that locks itself out says so', async () => {
  await ask(page);
  await page.keyboard.press('n');
  await page.evaluate(() => window.phone.set({ lockedOut: true }));
  await expect.poll(told).toBe('The sensor is locked out');
});
