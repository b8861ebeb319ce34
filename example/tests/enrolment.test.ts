import { readFile } from 'node:fs/promises';
import type { Locator, Page } from 'playwright-core';
import { afterAll, beforeAll, beforeEach, describe, expect, test } from 'vitest';

import { advice } from '../src/rejections.js';

import { Example } from './browser.js';

let example: Example;
let page: Page;

beforeAll(async () => {
  example = await Example.start();
});
afterAll(() => example.stop());

beforeEach(async () => {
  page = await example.open();
  return () => page.context().close();
});

const press = (name: string): Promise<void> => page.getByRole('button', { name, exact: true }).click();
const textOf = (id: string): Promise<string | null> => page.locator(`#${id}`).textContent();

/** Waits until the text of an element matches. */
async function shows(id: string, text: RegExp | string): Promise<void> {
  await page.locator(`#${id}`).filter({ hasText: text }).waitFor();
}

/** Takes the sample person as far as a kept certificate. */
async function enrol(): Promise<void> {
  await press('Fill in a sample person');
  await press('Write the request');
  await shows('key-state', 'This device holds a key');
  await press('Have the test authority issue one');
  await page.waitForFunction(() => (document.getElementById('certificate') as HTMLTextAreaElement).value !== '');
  await press('Keep the certificate');
  await shows('certificate-state', 'keeps a certificate');
}

async function chooseFile(): Promise<void> {
  await page.setInputFiles('#file', {
    name: 'letter.txt',
    mimeType: 'text/plain',
    buffer: Buffer.from('Dear authority'),
  });
  await shows('file-name', 'letter.txt, 14 bytes');
}

/** The biometric sheet, once it is up. */
const sheet = (page: Page): Locator => page.getByRole('alertdialog');

describe('from the empty form to a verified signature', () => {
  test('a person is enrolled and signs a file', async () => {
    await enrol();
    await chooseFile();
    await press('Sign the file');
    await sheet(page).getByText('Authenticate to sign').waitFor();
    await sheet(page).getByRole('button', { name: 'Match', exact: true }).click();
    await shows('verdict', 'Signed: letter.txt.p7s');
  });

  test('the digits of the sample person become ASCII as they are typed', async () => {
    await press('Fill in a sample person');
    expect(await page.inputValue('#nationalCode')).toBe('0012345678');
    await page.fill('#postalCode', '');
    await page.locator('#postalCode').pressSequentially('۱۲٣');
    expect(await page.inputValue('#postalCode')).toBe('123');
    expect(await page.inputValue('#city')).toBe('تهران');
  });

  test('the request can be downloaded as PEM', async () => {
    await press('Fill in a sample person');
    await press('Write the request');
    await shows('key-state', 'This device holds a key');
    const [download] = await Promise.all([page.waitForEvent('download'), page.click('#download-request')]);
    expect(download.suggestedFilename()).toBe('0012345678.csr');
    const pem = await readFile(await download.path(), 'utf8');
    const body = pem.match(/^-----BEGIN CERTIFICATE REQUEST-----\n(.+)\n-----END CERTIFICATE REQUEST-----\n$/s)?.[1];
    expect(body?.replaceAll('\n', '')).toBe(await page.inputValue('#request'));
  });
});

describe('the sheet', () => {
  beforeEach(async () => {
    await enrol();
    await chooseFile();
    await press('Sign the file');
    await sheet(page).waitFor();
  });

  test.each([
    ['somebody else', 'No match'],
    ['a person who cancels', 'Cancel'],
  ])('is answered by %s: nothing is signed, and the page says what to do', async (_, answer) => {
    await sheet(page).getByRole('button', { name: answer, exact: true }).click();
    await shows('signature-notice', advice.sign_failed);
    expect(await textOf('verdict')).toBe('');
  });

  test('is cancelled by the system when the phone is locked', async () => {
    await sheet(page).getByRole('button', { name: 'Lock the phone' }).click();
    await shows('signature-notice', advice.sign_failed);
  });

  test('is gone after a reload, and the next signature is made', async () => {
    await page.reload();
    await shows('biometrics', 'Face ID is ready.');
    await press('Fill in a sample person');
    await chooseFile();
    await press('Sign the file');
    await sheet(page).getByRole('button', { name: 'Match', exact: true }).click();
    await shows('verdict', 'Signed: letter.txt.p7s');
  });

  test('can be answered above a dialog of the app', async () => {
    await sheet(page).getByRole('button', { name: 'Cancel', exact: true }).click();
    await shows('signature-notice', advice.sign_failed);
    await page.evaluate(() => {
      const dialog = document.createElement('dialog');
      const button = document.createElement('button');
      button.textContent = 'Sign from the dialog';
      button.onclick = () => document.getElementById('sign')?.click();
      dialog.append(button);
      document.body.append(dialog);
      dialog.showModal();
    });
    await press('Sign from the dialog');
    await sheet(page).getByRole('button', { name: 'Match', exact: true }).click();
    await shows('verdict', 'Signed: letter.txt.p7s');
  });

  test('of five people who do not match locks the sensor out, and the page says so', async () => {
    for (let attempt = 1; attempt <= 5; attempt++) {
      await sheet(page).getByRole('button', { name: 'No match', exact: true }).click();
      await shows('signature-notice', advice.sign_failed);
      if (attempt < 5) await press('Sign the file');
    }
    await shows('biometrics', 'is locked after too many attempts');
  });
});

describe('a rejection tells the person what to do', () => {
  test('when the national code is missing', async () => {
    await press('Write the request');
    await shows('person-notice', advice['nationalCode required']);
  });

  test('when there is no certificate to keep', async () => {
    await press('Keep the certificate');
    await shows('certificate-notice', advice['Provide certPem']);
  });

  test('when the person has no key', async () => {
    await page.fill('#certificate', 'certificate');
    await press('Keep the certificate');
    await shows('certificate-notice', advice['Certificate is not valid (key missing)']);
  });

  test('when the certificate belongs to a key that was replaced', async () => {
    await enrol();
    await press('Make a new key');
    await press('Keep the certificate');
    await shows('certificate-notice', advice['Certificate is not valid']);
  });

  test('when there is no key to sign with', async () => {
    await enrol();
    await press('Delete the key');
    await shows('key-state', 'no key yet');
    await chooseFile();
    await press('Sign the file');
    await shows('signature-notice', 'The device keeps no certificate');
  });

  test('when the certificate is for a key that was replaced', async () => {
    await enrol();
    await press('Make a new key');
    await chooseFile();
    await press('Sign the file');
    await sheet(page).getByRole('button', { name: 'Match', exact: true }).click();
    await shows('signature-notice', `The signature is not one by the key in the signer's certificate`);
  });
});

test('two tabs share the phone', async () => {
  await enrol();
  const other = await example.open('', page);
  await other.getByRole('button', { name: 'Fill in a sample person' }).click();
  await other.locator('#certificate-state').filter({ hasText: 'keeps a certificate' }).waitFor();
  await other.getByRole('button', { name: 'Delete the key' }).click();
  await other.locator('#key-state').filter({ hasText: 'no key yet' }).waitFor();
  await press('Fill in a sample person');
  await shows('key-state', 'no key yet');
  await shows('certificate-state', 'keeps no certificate');
});

test('the page has no horizontal scroll bar at 360 pixels', async () => {
  await page.setViewportSize({ width: 360, height: 740 });
  await enrol();
  expect(await page.evaluate(() => document.documentElement.scrollWidth)).toBe(360);
});
