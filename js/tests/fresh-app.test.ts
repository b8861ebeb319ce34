import { verify, X509Certificate } from 'node:crypto';
import { rm } from 'node:fs/promises';
import { join } from 'node:path';
import type { Browser, Page } from 'playwright-core';
import { globSync } from 'tinyglobby';
import type { PreviewServer, ViteDevServer } from 'vite';
import { createServer, preview } from 'vite';
import { afterAll, beforeAll, describe, expect, inject, test } from 'vitest';

import { read } from './app.js';
import { launchChromium } from './chromium.js';
import { block, blocks, digestB64, makeFreshApp, runIn } from './fresh-app.js';
import { useOpenSSL } from './simulator/openssl.js';

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

const forTesters = block('sh').trim();

/** The commands that build the app. */
const builds = {
  testers: forTesters,
  'one-chunk': `${forTesters} --config one-chunk.config.ts`,
  vendor: `${forTesters} --config vendor.config.ts`,
  unordered: `${forTesters} --config unordered.config.ts`,
  production: 'npx vite build',
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

/** Enrols a person in the page and lets her sign. The page may not complain. */
async function enrolAndSign(url: string): Promise<void> {
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
  expect(await page.evaluate('Capacitor.getPlatform()')).toBe('ios');
  expect(errors).toEqual([]);
  await page.close();
}

/** Signs in a page without a simulator and returns what the page says. */
async function signWithoutSimulator(url: string): Promise<string | null> {
  const page = await open(url);
  await press(page, 'Sign');
  await says(page, ':');
  const said = await page.locator('output').textContent();
  expect(await page.evaluate('Capacitor.getPlatform()')).toBe('web');
  await page.close();
  return said;
}

/** Returns the error that nobody catches in the page. */
async function errorAt(url: string): Promise<string> {
  const page = await open('about:blank');
  const [error] = await Promise.all([page.waitForEvent('pageerror'), page.goto(url)]);
  await page.close();
  return error.message;
}

const scriptsOf = (outDir: string) => globSync(`${outDir}/assets/*.js`, { cwd: app });

/** Runs a tool that is installed in the app, and returns what it prints. */
const runTool = (name: string, ...args: string[]): Promise<string> =>
  runIn(app, {}, join(app, 'node_modules/.bin', name), ...args);

test('every block of the page is run here', () => {
  expect(blocks.map(({ name }) => name)).toEqual([
    'src/main.ts',
    'http',
    'sh',
    'vite.config.ts',
    'tests/sign.test.ts',
    'tests/browser.test.ts',
  ]);
});

test('the code on the page compiles', async () => {
  expect(await runTool('tsc')).toBe('');
});

describe('with the line of the guide, a person is enrolled and signs', () => {
  test('from the development server', async () => enrolAndSign(await serve()));

  test('from a build', async () => enrolAndSign(await serveBuilt(await build('testers'))));

  test('from a build in one chunk', async () => {
    const built = await build('one-chunk');
    expect(scriptsOf(built)).toHaveLength(1);
    await enrolAndSign(await serveBuilt(built));
  });

  test('from a build with a chunk of all dependencies', async () => {
    const built = await build('vendor');
    expect(scriptsOf(built).join()).toMatch(/vendor-/);
    await enrolAndSign(await serveBuilt(built));
  });

  test('under the content security policy of the guide', async () => {
    const policy = block('http').replace('Content-Security-Policy: ', '').trim();
    await enrolAndSign(await serveBuilt(await build('testers'), policy));
  });
});

describe.each(['node', 'jsdom'])('in Vitest under %s', (environment) => {
  test('a person is enrolled and signs, and the unit test of the guide passes', async () => {
    const files = ['tests/enrolment.test.ts', 'tests/sign.test.ts'];
    expect(await runTool('vitest', 'run', '--environment', environment, ...files)).toMatch(/4 passed/);
  });
});

test('the browser test of the guide passes', async () => {
  const patience = ['--testTimeout=60000', '--hookTimeout=60000'];
  expect(await runTool('vitest', 'run', ...patience, 'tests/browser.test.ts')).toMatch(/2 passed/);
});

describe('where the simulator cannot start, the error says what to do', () => {
  test('under a content security policy that forbids WebAssembly', async () => {
    const url = await serveBuilt(await build('testers'), "default-src 'self'");
    expect(await errorAt(url)).toContain(`'wasm-unsafe-eval'`);
  });

  test('in a build whose chunk of all dependencies does not keep the order', async () => {
    const url = await serveBuilt(await build('unordered'));
    expect(await errorAt(url)).toContain('strictExecutionOrder');
  });
});

describe('without the simulator, a call rejects as unavailable', () => {
  test('in an app that imports only the plain package', async () => {
    const url = await serve();
    expect(await signWithoutSimulator(`${url}plain.html`)).toMatch(/^UNAVAILABLE: /);
  });

  test('in a build for production, which holds no part of the simulator', async () => {
    const built = await build('production');
    expect(await signWithoutSimulator(await serveBuilt(built))).toMatch(/^UNAVAILABLE: /);
    const scripts = await Promise.all(scriptsOf(built).map((file) => read(app, file)));
    expect(scripts.join('')).not.toMatch(/kavrelSimulator|WebAssembly/);
  });
});
