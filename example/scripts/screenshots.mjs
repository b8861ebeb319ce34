// Draws the pictures in the README: the example in Chromium, on the simulated phone.

import { mkdir } from 'node:fs/promises';
import { fileURLToPath } from 'node:url';
import { chromium } from 'playwright-core';
import { createServer } from 'vite';

const example = fileURLToPath(new URL('..', import.meta.url));
const pictures = fileURLToPath(new URL('../../docs/images/', import.meta.url));

const server = await createServer({ root: example, logLevel: 'error', server: { host: '127.0.0.1', port: 0 } });
await server.listen();
const browser = await chromium.launch({ executablePath: '/usr/bin/chromium' });

try {
  await mkdir(pictures, { recursive: true });
  const page = await browser.newPage({
    viewport: { width: 600, height: 480 },
    deviceScaleFactor: 1.75,
    colorScheme: 'light',
    reducedMotion: 'reduce',
  });
  const press = (name) => page.getByRole('button', { name, exact: true }).click();
  const shows = (id, text) => page.locator(`#${id}`).filter({ hasText: text }).waitFor();
  const draw = (name) => page.screenshot({ path: `${pictures}${name}.png` });

  await page.goto(server.resolvedUrls.local[0]);
  await shows('biometrics', 'Face ID is ready.');
  await press('Fill in a sample person');
  await press('Write the request');
  await shows('key-state', 'This device holds a key');
  await press('Have the test authority issue one');
  await page.waitForFunction(() => document.getElementById('certificate').value);
  await press('Keep the certificate');
  await shows('certificate-state', 'keeps a certificate');

  await page.setInputFiles('#file', {
    name: 'letter.txt',
    mimeType: 'text/plain',
    buffer: Buffer.from('Dear authority'),
  });
  await press('Sign the file');
  await page.getByRole('alertdialog').waitFor();
  await page.evaluate(() => scrollTo(0, 0));
  await draw('prompt');

  await press('Match');
  await shows('verdict', 'Signed: letter.txt.p7s');
  await press('Simulator');
  await page.getByRole('tab', { name: 'Keychain' }).click();
  await page.getByText('Recognised').waitFor({ state: 'hidden' });
  await draw('keychain');
} finally {
  await browser.close();
  await server.close();
}
