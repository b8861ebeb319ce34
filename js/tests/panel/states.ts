import type { Page } from 'playwright-core';

import type { Item, LogEntry } from '../../src/simulator/definitions.js';

const at = (second: number) => new Date(2026, 10, 21, 12, 31, second);
const nationalCode = '0012345678';
const long = 'MIIDtzCCAp8CAQAwgZEx'.repeat(20);

export const items: Item[] = [
  {
    class: 'privateKey',
    tag: `com.solbera.app.privatekey.${nationalCode}`,
    accessibility: 'whenUnlockedThisDeviceOnly',
    createdAt: at(5),
  },
  {
    class: 'publicKey',
    tag: `com.solbera.app.publickey.${nationalCode}`,
    accessibility: 'whenUnlocked',
    createdAt: at(5),
  },
  {
    class: 'genericPassword',
    account: 'com.ios.kavrel.cachedCSR',
    accessibility: 'afterFirstUnlockThisDeviceOnly',
    createdAt: at(9),
  },
];

type Made = Pick<LogEntry, 'method' | 'outcome'> & Partial<LogEntry>;

const made: Made[] = [
  { method: 'getBiometricStatus', outcome: 'resolved', duration: 0.21, result: { enabled: true } },
  { method: 'ensureKey', outcome: 'resolved', duration: 98.3, result: { ok: true } },
  { method: 'createCSR', outcome: 'resolved', duration: 2.41, result: { csrPem: long } },
  {
    method: 'storeCertificate',
    outcome: 'rejected',
    duration: 1.3,
    error: { message: 'Certificate is not valid (key missing)' },
  },
  { method: 'setStyle', outcome: 'unfinished' },
  { method: 'signDigest', outcome: 'rejected', duration: 4321, error: { message: 'sign_failed' } },
  { method: 'signDigest', outcome: 'pending' },
];
export const log: LogEntry[] = made.map((entry, index) => ({
  id: index + 1,
  options: { nationalCode },
  calledAt: at(index),
  ...entry,
}));

export const lines = ['❌ SecKeyCreateRandomKey error: no room', '🔑 forceDeleteAllKeys public  status: -25300'];

/** Gives the phone a history. */
async function live(page: Page): Promise<void> {
  const longest: Item = { class: 'privateKey', tag: long, accessibility: 'afterFirstUnlock', createdAt: at(9) };
  const [allItems, allLines] = [
    [...items, longest],
    [...lines, long],
  ];
  await page.evaluate(
    ([items, log, lines]) => {
      window.phone.store(items);
      window.phone.script({ log }, 'log');
      window.phone.script({ console: lines }, 'console');
    },
    [allItems, log, allLines] as const,
  );
}

export async function openDrawer(page: Page, tab = 'Phone'): Promise<void> {
  await page.getByRole('button', { name: 'Simulator' }).click();
  await page.getByRole('tab', { name: tab }).click();
}

/** Shows a prompt and lets the time pass in which it can be read. How it is answered is found in `phone.asked`. */
export async function ask(page: Page, reason = 'Authenticate to sign'): Promise<void> {
  await page.evaluate((reason) => void window.phone.ask(reason), reason);
  await read(page);
}

/** Lets the time pass in which a prompt that has just come up can be read, so that keys answer it. */
export const read = (page: Page): Promise<void> => page.clock.runFor(1000);

/** What the panel asked of the phone, and how its prompts were answered. */
export const asked = (page: Page): Promise<string[]> => page.evaluate(() => window.phone.asked);

/** What has the focus: its id, or its name. */
export const focused = (page: Page): Promise<string | null | undefined> =>
  page.evaluate(() => {
    let node = document.activeElement;
    while (node?.shadowRoot?.activeElement) node = node.shadowRoot.activeElement;
    return node?.id || node?.getAttribute('aria-label') || node?.firstChild?.textContent;
  });

/** Everything that the panel can look like, as what brings it about on a page that was just opened. */
export const states: Record<string, (page: Page) => Promise<void>> = {
  idle: async () => {},
  phone: (page) => openDrawer(page),
  'locked-out': async (page) => {
    await openDrawer(page);
    await page.evaluate(() => window.phone.set({ biometry: 'touchID', lockedOut: true }));
  },
  'keychain-empty': (page) => openDrawer(page, 'Keychain'),
  keychain: async (page) => {
    await live(page);
    await openDrawer(page, 'Keychain');
  },
  'calls-none': (page) => openDrawer(page, 'Calls'),
  calls: async (page) => {
    await live(page);
    await openDrawer(page, 'Calls');
    await page.getByText('createCSR', { exact: true }).click();
  },
  'console-silent': (page) => openDrawer(page, 'Console'),
  console: async (page) => {
    await live(page);
    await openDrawer(page, 'Console');
  },
  reset: async (page) => {
    await openDrawer(page);
    await page.getByRole('button', { name: 'Reset the phone…' }).click();
  },
  sheet: (page) => ask(page),
  'sheet-long': (page) => ask(page, long),
  refused: async (page) => {
    await ask(page);
    await page.getByRole('button', { name: 'No match' }).click();
  },
  stopped: (page) =>
    page.evaluate(() => window.phone.script({ failure: 'a biometric prompt must give a reason' }, 'stopped')),
};
