import { createPublicKey, verify, X509Certificate } from 'node:crypto';
import { rm } from 'node:fs/promises';
import { join } from 'node:path';
import type { Browser, Page } from 'playwright-core';
import type { PreviewServer, ViteDevServer } from 'vite';
import { createServer, preview } from 'vite';
import { afterAll, beforeAll, describe, expect, inject, test } from 'vitest';

import { launchChromium } from '../chromium.mjs';

import { block, digestB64, makeFreshApp, runIn } from './fresh-app.js';
import { useOpenSSL } from './simulator/openssl.js';
import type { Simulator } from './simulator/phone.js';

const openssl = useOpenSSL();

let app: string;
let browser: Browser;
const servers: (ViteDevServer | PreviewServer)[] = [];

beforeAll(async () => {
  [app, browser] = await Promise.all([makeFreshApp(join(inject('app'), 'node_modules')), launchChromium()]);
});

afterAll(async () => {
  await browser.close();
  await Promise.all(servers.map((server) => server.close()));
  await rm(app, { recursive: true });
});

/** Where a server that was started listens. The server is closed when the tests have ended. */
function addressOf(server: ViteDevServer | PreviewServer): string {
  servers.push(server);
  return server.resolvedUrls!.local[0];
}

/** Serves the app for development. */
async function serve(): Promise<string> {
  const server = await createServer({
    configFile: false,
    root: app,
    logLevel: 'error',
    server: { host: '127.0.0.1', port: 0 },
  });
  return addressOf(await server.listen());
}

const forTesters = block('docs/develop-without-a-phone.md', 'In your app', 'sh').trim();

/** The commands that build the app. */
const builds = {
  testers: forTesters,
  ios: `${forTesters} --config ordered.config.ts`,
  unordered: `${forTesters} --config unordered.config.ts`,
};

const built = new Map<string, Promise<string>>();

/** Builds the app, unless that was done. Returns the folder, which is named after the build. */
function build(name: keyof typeof builds): Promise<string> {
  const folder = join('dist', name);
  const running =
    built.get(name) ??
    runIn(app, { NODE_ENV: undefined }, 'sh', '-c', `${builds[name]} --outDir ${folder}`).then(() => folder);
  built.set(name, running);
  return running;
}

/** Serves what was built into `outDir`, with a content security policy if one is given. */
async function serveBuilt(outDir: string, policy?: string): Promise<string> {
  const headers = policy ? { 'Content-Security-Policy': policy } : {};
  const server = await preview({
    configFile: false,
    root: app,
    logLevel: 'error',
    build: { outDir },
    preview: { host: '127.0.0.1', port: 0, headers },
  });
  return addressOf(server);
}

/** Opens a page of the app as somebody who was never there. */
async function open(url: string): Promise<Page> {
  const page = await browser.newPage();
  page.setDefaultTimeout(20_000);
  await page.goto(url);
  return page;
}

const press = (page: Page, name: string): Promise<void> => page.getByRole('button', { name, exact: true }).click();
const says = (page: Page, words: string): Promise<void> => page.locator('output').filter({ hasText: words }).waitFor();

/** Enrols a person in a page of that platform and lets her sign. The page may not complain. */
async function enrolAndSign(url: string, platform: 'web' | 'ios'): Promise<void> {
  const page = await open('about:blank');
  const errors: unknown[] = [];
  page.on('pageerror', (error) => errors.push(error));
  page.on('console', (message) => message.type() === 'error' && errors.push(message.text()));
  let certificate = '';
  await page.exposeFunction('issue', async (request: string) => (certificate = await openssl.issue(request)));

  await page.goto(url);
  await press(page, 'Enrol');
  await says(page, 'Enrolled');
  await press(page, 'Sign');
  await page.getByRole('alertdialog').getByRole('button', { name: 'Match', exact: true }).click();
  await says(page, 'Signed');

  const signature = Buffer.from((await page.locator('pre').textContent())!, 'base64');
  const { publicKey } = new X509Certificate(certificate);
  expect(verify('sha256', Buffer.from(digestB64, 'base64'), publicKey, signature)).toBe(true);
  expect(await page.evaluate('Capacitor.getPlatform()')).toBe(platform);
  expect(errors).toEqual([]);
  await page.close();
}

/** Returns the error that nobody catches in the page. */
async function errorAt(url: string): Promise<string> {
  const page = await open('about:blank');
  const [error] = await Promise.all([page.waitForEvent('pageerror'), page.goto(url)]);
  await page.close();
  return error.message;
}

/** Opens a page that signs by itself, and checks the signature that it shows. */
async function watchSigning(url: string, nationalCode: string): Promise<void> {
  const page = await open(url);
  await page.getByRole('alertdialog').getByRole('button', { name: 'Match', exact: true }).click();
  const shown = await page
    .locator('body')
    .filter({ hasText: /[A-Za-z0-9+/]{342}==/ })
    .textContent();
  const [signature] = shown!.match(/[A-Za-z0-9+/]{342}==/)!;
  const phone = await page.evaluateHandle<Simulator>('kavrelSimulator');
  const { publicKeyPem } = await phone.evaluate((phone, who) => phone.call('getKeyInfo', who), { nationalCode });
  const key = Buffer.from(publicKeyPem.replace(/-----.*?-----/g, ''), 'base64');
  const publicKey = createPublicKey({ key, format: 'der', type: 'pkcs1' });
  expect(verify('sha256', Buffer.from('Hello'), publicKey, Buffer.from(signature, 'base64'))).toBe(true);
  await page.close();
}

/** Runs a tool that is installed in the app, and returns what it prints. */
const runTool = (name: string, ...args: string[]): Promise<string> =>
  runIn(app, {}, join(app, 'node_modules/.bin', name), ...args);

test('the code in the documentation compiles', async () => {
  expect(await runTool('tsc')).toBe('');
});

test('the tests in the documentation pass', async () => {
  expect(await runTool('vitest', 'run', 'tests/simulator.test.ts')).toMatch(/6 passed/);
});

test.each(['readme', 'two-minutes'])('the first page of the documentation signs: %s', async (name) => {
  await watchSigning(`${await serve()}${name}.html`, '0012345678');
});

describe('a person is enrolled and signs', () => {
  test('in a build for testers, under the content security policy of the documentation', async () => {
    const policy = block('docs/develop-without-a-phone.md', 'In your app', 'http')
      .replace(/^.*?: /, '')
      .trim();
    await enrolAndSign(await serveBuilt(await build('testers'), policy), 'web');
  });

  test('on the platform "ios", from the development server', async () => {
    await enrolAndSign(`${await serve()}ios.html`, 'ios');
  });

  test('on the platform "ios", from a build with a chunk of all dependencies that keeps the order', async () => {
    await enrolAndSign(`${await serveBuilt(await build('ios'))}ios.html`, 'ios');
  });
});

describe('where the simulator cannot start, the error says what to do', () => {
  test('under a content security policy that forbids WebAssembly', async () => {
    const url = await serveBuilt(await build('testers'), "default-src 'self'");
    expect(await errorAt(url)).toContain(`'wasm-unsafe-eval'`);
  });

  test('on the platform "ios", in a build whose chunk of all dependencies does not keep the order', async () => {
    const url = await serveBuilt(await build('unordered'));
    expect(await errorAt(`${url}ios.html`)).toContain('strictExecutionOrder');
  });
});

test('without the simulator, a call rejects as unavailable', async () => {
  const page = await open(`${await serve()}plain.html`);
  await press(page, 'Sign');
  await says(page, 'UNAVAILABLE: ');
  await page.close();
});
