import { createPublicKey, verify } from 'node:crypto';
import { readFile } from 'node:fs/promises';
import { join } from 'node:path';
import { chromium } from 'playwright-core';
import { globSync } from 'tinyglobby';
import { preview } from 'vite';

import { environment } from './commands.mjs';

/** What a file that holds the simulator holds too: a part of its warning on the console. */
export const simulator = /simulated phone/;

const patience = { timeout: 60_000 };

/** Presses "Sign" in a page, lets `act` do something there, and returns what the page says then. It may not complain. */
async function sign(url, act = () => {}) {
  const browser = await chromium.launch({ executablePath: environment.CHROME_BIN });
  const page = await browser.newPage();
  const complaints = [];
  page.on('pageerror', (error) => complaints.push(error.message));
  page.on('console', (message) => message.type() === 'error' && complaints.push(message.text()));
  try {
    await page.goto(url);
    await page.getByRole('button', { name: 'Sign', exact: true }).click(patience);
    await act(page);
    const said = await page.locator('output').filter({ hasText: /./ }).textContent(patience);
    if (complaints.length) throw new Error('The page complains.');
    return said;
  } catch (error) {
    throw new Error([error.message, ...complaints].join('\n'));
  } finally {
    await browser.close();
  }
}

/** Lets a person sign in a page, and checks the signature. */
export async function signWithMatch(url) {
  const match = { name: 'Match', exact: true };
  const said = await sign(url, (page) => page.getByRole('alertdialog').getByRole('button', match).click(patience));
  if (!said.startsWith('{')) throw new Error(`The page says ${said}`);
  const { signature, publicKeyPem } = JSON.parse(said);
  const key = Buffer.from(publicKeyPem.replace(/-----.*?-----/g, ''), 'base64');
  const publicKey = createPublicKey({ key, format: 'der', type: 'pkcs1' });
  if (!verify('sha256', Buffer.from('Hello'), publicKey, Buffer.from(signature, 'base64'))) {
    throw new Error('The signature does not verify.');
  }
}

/** Makes sure that a build holds no simulator and that its page says so. */
export async function lookForSimulator(outDir) {
  const files = globSync('**/*.{js,mjs,html}', { cwd: outDir });
  if (!files.length) throw new Error(`The build left nothing in ${outDir}.`);
  for (const file of files) {
    if (simulator.test(await readFile(join(outDir, file), 'utf8'))) throw new Error(`The simulator is in ${file}.`);
  }
  const local = { host: '127.0.0.1', port: 0 };
  const server = await preview({ configFile: false, logLevel: 'error', build: { outDir }, preview: local });
  try {
    const said = await sign(server.resolvedUrls.local[0]);
    if (!said.startsWith('UNAVAILABLE: ')) throw new Error(`The page of the build says ${said}`);
  } finally {
    await server.close();
  }
}
