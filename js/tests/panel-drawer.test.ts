import type { Page } from 'playwright-core';
import { afterAll, beforeAll, beforeEach, describe, expect, test } from 'vitest';

import type { LogEntry } from '../src/simulator/definitions.js';

import { usePanelPages } from './panel/page.js';
import { asked, focused, items, lines, log, openDrawer } from './panel/states.js';

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

const badge = () => page.getByRole('button', { name: 'Simulator' });
const drawer = () => page.getByRole('dialog', { name: 'Simulated phone' });
const shown = () => page.getByRole('tabpanel').getByRole('listitem');
const say = (entries: LogEntry[]) => page.evaluate((log) => window.phone.script({ log }, 'log'), entries);

/** Lets the panel draw what it was told of. */
const drawn = () => page.evaluate(() => new Promise((resolve) => requestAnimationFrame(() => setTimeout(resolve))));

test('a notice leaves the buttons of the drawer in sight', async () => {
  await page.setViewportSize({ width: 600, height: 720 });
  await badge().click();
  await page.evaluate(() => window.phone.set({ lockedOut: true }));
  const notice = page.getByText('The sensor is locked out', { exact: true });
  await notice.waitFor();
  const [{ y, height }, { y: top }] = await Promise.all(
    [notice, page.getByRole('button', { name: 'Restart the app' })].map(async (node) => (await node.boundingBox())!),
  );
  expect(y + height).toBeLessThan(top);
  await page.setViewportSize({ width: 1000, height: 720 });
});

describe('by keyboard alone', () => {
  test('the badge opens the drawer, and Escape closes it and gives the focus back', async () => {
    await page.keyboard.press('Tab');
    expect(await focused(page)).toBe('badge');
    await page.keyboard.press('Enter');
    expect(await focused(page)).toBe('phone-tab');
    await page.keyboard.press('Tab');
    await page.keyboard.press('Escape');
    expect(await drawer().count()).toBe(0);
    expect(await focused(page)).toBe('badge');
  });

  test.each([
    ['ltr', 'ArrowRight', 'ArrowLeft'],
    ['rtl', 'ArrowLeft', 'ArrowRight'],
  ])('the arrows lead from page to page, %s', async (dir, forward, backward) => {
    await page.evaluate((dir) => (document.documentElement.dir = dir), dir);
    await badge().press('Enter');
    const visited = [];
    for (const key of [forward, forward, forward, forward, backward, 'Home', 'End']) {
      await page.keyboard.press(key);
      visited.push(await focused(page));
      expect(await page.getByRole('tab', { selected: true }).getAttribute('id')).toBe(visited.at(-1));
      expect(await page.getByRole('tabpanel').getAttribute('aria-labelledby')).toBe(visited.at(-1));
    }
    expect(visited.map((tab) => tab?.replace('-tab', ''))).toEqual([
      ...['keychain', 'calls', 'console', 'phone'],
      ...['console', 'phone', 'console'],
    ]);
    await page.evaluate(() => (document.documentElement.dir = 'ltr'));
  });

  test('every switch can be reached and turned', async () => {
    await badge().press('Enter');
    for (const key of ['Tab', 'Tab', 'ArrowRight', 'Tab', 'ArrowLeft', 'Tab', 'Space', 'Tab', 'Space']) {
      await page.keyboard.press(key);
    }
    expect(await page.evaluate(() => window.phone.prompts)).toBe('match');
    expect(await asked(page)).toEqual([
      'set {"biometry":"touchID"}',
      'set {"enrolled":false}',
      'set {"lockedOut":true}',
    ]);
  });

  test('a call is opened', async () => {
    await say(log);
    await openDrawer(page, 'Calls');
    for (const key of ['Tab', 'Tab', 'Enter']) await page.keyboard.press(key);
    await page.getByText('"nationalCode": "0012345678"').waitFor();
  });
});

describe('the switches', () => {
  beforeEach(() => openDrawer(page));

  const turned = (name: string) => page.getByRole('switch', { name, exact: true });

  test.each([
    ['Enrolled', 'set {"enrolled":false}', 'Nobody is enrolled, so nothing can be signed.'],
    ['Locked out', 'set {"lockedOut":true}', 'Face ID is locked out, so nothing can be signed.'],
    ['Locked', 'set {"locked":true}', 'Locked. The keys are out of reach.'],
    [
      'Unlocked since start',
      'set {"firstUnlock":false}',
      'Not unlocked since it was started. The keychain is out of reach.',
    ],
  ])('"%s" turns what it says, and the phone tells what follows', async (name, change, sentence) => {
    await turned(name).click();
    expect(await asked(page)).toEqual([change]);
    await drawer().getByText(sentence).waitFor();
    expect(await badge().count()).toBe(0);
    await page.keyboard.press('Escape');
    expect(await badge().getAttribute('title')).toBe(sentence);
  });

  test.each([
    ['None', 'none', 'There is no sensor, so nothing can be signed.'],
    ['Touch ID', 'touchID', 'Touch ID is ready. You answer its prompts.'],
    ['Optic ID', 'opticID', 'Optic ID is ready. You answer its prompts.'],
  ])('the sensor can be %s', async (name, biometry, sentence) => {
    await page.getByRole('group', { name: 'Sensor' }).getByText(name).click();
    expect(await asked(page)).toEqual([`set {"biometry":"${biometry}"}`]);
    await drawer().getByText(sentence).waitFor();
  });

  test.each([
    ['Match', 'match', 'Face ID recognises everybody.'],
    ['No match', 'no-match', 'Face ID recognises nobody.'],
    ['Cancel', 'cancel', 'Face ID is ready. Every prompt is cancelled.'],
  ])('prompts can be answered with %s', async (name, policy, sentence) => {
    await page.getByRole('group', { name: 'Biometric prompts' }).getByText(name, { exact: true }).click();
    expect(await page.evaluate(() => window.phone.prompts)).toBe(policy);
    await drawer().getByText(sentence).waitFor();
  });

  test('they follow what the program does', async () => {
    await page.evaluate(async () => {
      await window.phone.set({ biometry: 'none', enrolled: false, locked: true });
      window.phone.prompts = 'no-match';
    });
    await drawn();
    const on = await page
      .getByRole('switch', { checked: true })
      .evaluateAll((all) => all.map((one) => one.getAttribute('name')));
    expect(on).toEqual(['locked', 'firstUnlock']);
    expect(await page.getByRole('radio', { name: 'None' }).isChecked()).toBe(true);
    expect(await page.getByRole('radio', { name: 'No match' }).isChecked()).toBe(true);
  });

  test('one that the phone refuses goes back, and the refusal is told', async () => {
    await page.evaluate(() => (window.phone.refusal = new Error('The disk is full.')));
    await turned('Enrolled').click();
    await expect.poll(() => page.getByRole('status').textContent()).toBe('The disk is full.');
    expect(await turned('Enrolled').isChecked()).toBe(true);
  });
});

describe('the keychain', () => {
  test('lists what each item is, how it is found, when it can be read and when it was made', async () => {
    await page.evaluate((items) => window.phone.store(items), items);
    await openDrawer(page, 'Keychain');
    const texts = async () => (await shown().allInnerTexts()).map((text) => text.replaceAll('\n\n', '\n'));
    await expect
      .poll(texts)
      .toEqual([
        'Private key\n12:31:05\ncom.solbera.app.privatekey.0012345678\nAccessible when unlocked, this device only',
        'Public key\n12:31:05\ncom.solbera.app.publickey.0012345678\nAccessible when unlocked',
        'Generic password\n12:31:09\ncom.ios.kavrel.cachedCSR\nAccessible after first unlock, this device only',
      ]);
    expect(await page.getByRole('tab', { selected: true }).innerText()).toBe('Keychain\n3');
  });

  test('says so when it is empty, and follows the phone', async () => {
    await openDrawer(page, 'Keychain');
    await page.getByText('The keychain is empty.').waitFor();
    await page.evaluate((items) => window.phone.store(items), items);
    await expect.poll(() => shown().count()).toBe(3);
    expect(await page.getByText('The keychain is empty.').isVisible()).toBe(false);
  });

  test('says why it cannot be read, and is read again when it changes', async () => {
    await page.evaluate((items) => {
      window.phone.store(items);
      window.phone.items = () => Promise.reject(new Error('The item "key" is damaged. Call reset().'));
    }, items);
    await openDrawer(page, 'Keychain');
    await page.getByText('The keychain cannot be read. The item "key" is damaged. Call reset().').waitFor();
    expect(await shown().count()).toBe(0);
    await page.evaluate((items) => {
      window.phone.items = () => Promise.resolve(items);
      window.phone.store(items);
    }, items);
    await expect.poll(() => shown().count()).toBe(3);
    expect(await page.getByText('cannot be read').count()).toBe(0);
  });
});

describe('the calls', () => {
  test('are listed latest first, with outcome, duration and message', async () => {
    await say(log);
    await openDrawer(page, 'Calls');
    await expect
      .poll(() => shown().allInnerTexts())
      .toEqual([
        'signDigest\npending',
        'signDigest\nrejected\n4.3 s\nsign_failed',
        'setStyle\nunfinished',
        'storeCertificate\nrejected\n1.3 ms\nCertificate is not valid (key missing)',
        'createCSR\nresolved\n2.4 ms',
        'ensureKey\nresolved\n98 ms',
        'getBiometricStatus\nresolved\n0.2 ms',
      ]);
  });

  test('one that is open and has the focus keeps both when it ends and when others are made', async () => {
    const call: LogEntry = { id: 1, method: 'signDigest', options: {}, calledAt: new Date(), outcome: 'pending' };
    await say([call]);
    await openDrawer(page, 'Calls');
    await page.getByText('signDigest').click();
    await say([
      { ...call, outcome: 'rejected', duration: 12, error: { message: 'sign_failed', code: 'why' } },
      { ...call, id: 2, method: 'hasKey' },
    ]);
    await expect.poll(() => shown().count()).toBe(2);
    expect(await page.getByText('"code": "why"').isVisible()).toBe(true);
    expect(await focused(page)).toBe('signDigest');
  });

  test('ten thousand leave the latest two hundred, and only those', async () => {
    await openDrawer(page, 'Calls');
    const nodes = await page.evaluate(async () => {
      const shadow = document.querySelector('kavrel-simulator')!.shadowRoot!;
      const calls = Array.from({ length: 10_000 }, (_, index) => index + 1);
      const entry = (id: number) =>
        ({ id, method: `call ${id}`, options: {}, calledAt: new Date(), outcome: 'resolved', duration: 1 }) as const;
      const frame = () => new Promise((resolve) => requestAnimationFrame(() => requestAnimationFrame(resolve)));
      for (const id of calls) {
        if (id === 5000) await frame();
        window.phone.script({ log: [...window.phone.log.slice(-999), entry(id)] }, 'log');
      }
      await frame();
      return [...shadow.querySelectorAll('#calls li summary > :first-child')].map((node) => node.textContent);
    });
    expect(nodes).toEqual(Array.from({ length: 200 }, (_, index) => `call ${10_000 - index}`));
  });

  test('and lines and names that hold markup are shown as they are', async () => {
    const evil = '<img src=x onerror=alert(1)><script>alert(2)</script>';
    await say([{ ...log[0], method: evil, options: { evil }, error: { message: evil } }]);
    await page.evaluate((line) => window.phone.script({ console: [line] }, 'console'), evil);
    await openDrawer(page, 'Calls');
    await page.locator('summary').click();
    await openTab('Console');
    expect(await shown().innerText()).toBe(evil);
    expect(await page.locator('kavrel-simulator').locator('img, script').count()).toBe(0);
  });
});

const openTab = (name: string) => page.getByRole('tab', { name }).click();

describe('the console', () => {
  test('shows the component’s lines in their order, every blank included', async () => {
    await page.evaluate((lines) => window.phone.script({ console: lines }, 'console'), lines);
    await openDrawer(page, 'Console');
    await expect.poll(() => shown().allTextContents()).toEqual(lines);
    expect(await shown().nth(1).innerText()).toBe(lines[1]);
  });

  test('stays at its latest line', async () => {
    await openDrawer(page, 'Console');
    const many = Array.from({ length: 100 }, (_, index) => `line ${index}`);
    await page.evaluate((lines) => window.phone.script({ console: lines }, 'console'), many);
    await drawn();
    const last = page.getByText('line 99');
    const inView = () =>
      last.evaluate(
        (node) => node.getBoundingClientRect().bottom <= node.closest('.view')!.getBoundingClientRect().bottom,
      );
    expect(await inView()).toBe(true);
  });
});

describe('a process that has stopped', () => {
  const stop = () =>
    page.evaluate(() => window.phone.script({ failure: 'a biometric prompt must give a reason' }, 'stopped'));

  test('is announced with the precondition, and takes nobody’s focus', async () => {
    await stop();
    const alert = page.getByRole('alert');
    expect(await alert.innerText()).toContain('a biometric prompt must give a reason');
    expect(await alert.isVisible()).toBe(true);
    expect(await focused(page)).toBe('sign');
    await page.getByRole('button', { name: 'Close' }).click();
    expect(await badge().getAttribute('title')).toBe('The app has stopped.');
  });

  test('is started again by its button, after which nothing is left of it', async () => {
    await stop();
    await page.getByRole('button', { name: 'Start again' }).click();
    expect(await asked(page)).toEqual(['restart']);
    await expect.poll(() => page.getByRole('alert').textContent()).toBe('');
    expect(await focused(page)).toBe('phone-tab');
    await drawer().getByText('Face ID is ready.').waitFor();
  });

  test('that cannot be started says why, whatever can be read of the phone', async () => {
    await stop();
    await page.evaluate(() => {
      window.phone.state = () => Promise.reject(new Error('The disk is broken.'));
      window.phone.restart = async () => {
        window.phone.script({ failure: 'WebAssembly cannot be compiled here.' }, 'stopped');
        throw new Error('WebAssembly cannot be compiled here.');
      };
    });
    await page.getByRole('button', { name: 'Start again' }).press('Enter');
    await page.getByRole('alert').getByText('WebAssembly cannot be compiled here.').waitFor();
    expect(await focused(page)).toBe('Start again');
    await page.keyboard.press('Escape');
    expect(await badge().getAttribute('title')).toBe('The app has stopped.');
  });

  test('is shown by a panel that is mounted afterwards', async () => {
    await page.evaluate(() => {
      window.phone.failure = 'the key has a type';
      window.takeAway();
      window.mount();
    });
    await page.getByRole('alert').getByText('the key has a type').waitFor();
  });
});

describe('at the foot', () => {
  beforeEach(() => openDrawer(page));

  test('the app is started again', async () => {
    await page.getByRole('button', { name: 'Restart the app' }).click();
    expect(await asked(page)).toEqual(['restart']);
    await expect.poll(() => page.getByRole('status').textContent()).toBe('The app was started again');
  });

  test('the phone is reset only after a second thought', async () => {
    await page.getByRole('button', { name: 'Reset the phone…' }).press('Enter');
    expect(await focused(page)).toBe('Keep it');
    await page.keyboard.press('Enter');
    expect(await focused(page)).toBe('Reset the phone…');
    expect(await asked(page)).toEqual([]);
    await page.keyboard.press('Enter');
    await page.getByRole('button', { name: 'Reset the phone', exact: true }).press('Enter');
    expect(await asked(page)).toEqual(['reset']);
    expect(await focused(page)).toBe('Reset the phone…');
  });
});
