import { readFile } from 'node:fs/promises';
import { createServer } from 'node:http';
import type { AddressInfo } from 'node:net';
import { join } from 'node:path';
import type { Browser, BrowserContext, Page } from 'playwright-core';
import { afterAll, afterEach, beforeAll, beforeEach, expect, inject } from 'vitest';

import { launchChromium } from '../../chromium.mjs';
import type { UserInfo } from '../../src/definitions.js';

import type { Simulator, SimulatorOptions } from './phone.js';
import { installed, nationalCode, userInfo } from './phone.js';

/** The files of the app's packages under the addresses at which the pages load them. */
const modules: Record<string, string> = {
  '/plugin.js': installed('esm/index.js'),
  '/web.js': installed('esm/web.js'),
  '/definitions.js': installed('esm/definitions.js'),
  '/index.js': installed('simulator/index.js'),
  '/ios.js': installed('simulator/ios.js'),
  '/wasm/component.js': installed('simulator/wasm/component.js'),
  '/core.js': join(inject('app'), 'node_modules/@capacitor/core/dist/index.js'),
};

/** The policies of the pages that have one. Under "/strict" it is the strictest with which the simulator runs. */
const policies: Record<string, string> = {
  '/strict': "default-src 'none'; script-src 'self' 'wasm-unsafe-eval'",
  '/closed': "default-src 'none'; script-src 'self'",
};

const markup = `<!doctype html>
  <title>App</title>
  <script type="importmap">{ "imports": { "@capacitor/core": "/core.js" } }</script>`;

/** Posts the value of `expression`, in which `module` is what `address` exports. */
const worker = (address: string, expression: string) => `import * as module from '${address}';
  postMessage(await ${expression});`;

const workers: Record<string, string> = {
  '/worker.js': worker('/index.js', 'module.startSimulator().then(({ storage, prompts }) => [storage, prompts])'),
  '/ios-worker.js': worker('/ios.js', 'module.phone.then((phone) => [phone, typeof Capacitor])'),
};

async function scriptAt(path: string): Promise<string | undefined> {
  return workers[path] ?? (modules[path] && readFile(modules[path], 'utf8'));
}

/** Serves an empty page under every address that is not a script's. */
async function serve(): Promise<{ origin: string; close(): void }> {
  const server = createServer(async ({ url = '/' }, response) => {
    const [path] = url.split('?');
    const script = await scriptAt(path);
    if (policies[path]) response.setHeader('Content-Security-Policy', policies[path]);
    response.setHeader('Content-Type', script ? 'text/javascript' : 'text/html');
    response.end(script ?? (policies[path] ? markup.split('\n')[0] : markup));
  });
  await new Promise<void>((resolve) => server.listen(0, '127.0.0.1', resolve));
  const { port } = server.address() as AddressInfo;
  return { origin: `http://127.0.0.1:${port}`, close: () => server.close() };
}

/** What the tests find in each page, also after a reload. */
export interface Helpers {
  nationalCode: string;
  userInfo: UserInfo;

  /** Imports the module at `address`. Written as an import in a test, it would be the test's. */
  load<Module>(address: string): Promise<Module>;

  /** Starts a phone, and keeps it as `helpers.phone` for what the test evaluates later. */
  start(options?: SimulatorOptions): Promise<Simulator>;
  phone: Simulator;
}

declare global {
  var helpers: Helpers;
}

const helpers = `globalThis.helpers = {
  ...${JSON.stringify({ nationalCode, userInfo })},
  load: (address) => import(address),
  async start(options) {
    return (this.phone = await (await import('/index.js')).startSimulator(options));
  },
};`;

export interface Pages {
  readonly origin: string;

  /** The browsing profile of the test: pages opened in it share what they store. */
  readonly context: BrowserContext;

  /** Opens a page of the server. The test fails if the page complains, unless it `mayComplain`. */
  open(path?: string, mayComplain?: 'mayComplain'): Promise<Page>;
}

/** Starts a browser for the tests of a file. Each test gets a profile of its own. */
export function usePages(): Pages {
  let browser: Browser;
  let server: Awaited<ReturnType<typeof serve>>;
  let context: BrowserContext;
  const complaints: string[] = [];

  beforeAll(async () => {
    [browser, server] = await Promise.all([launchChromium(), serve()]);
  });
  afterAll(async () => {
    await browser.close();
    server.close();
  });
  beforeEach(async () => {
    context = await browser.newContext();
    await context.addInitScript(helpers);
  });
  afterEach(async () => {
    await context.close();
    expect(complaints.splice(0)).toEqual([]);
  });

  return {
    get origin() {
      return server.origin;
    },
    get context() {
      return context;
    },
    async open(path = '/', mayComplain) {
      const page = await context.newPage();
      if (!mayComplain) {
        page.on('pageerror', (error) => complaints.push(error.message));
        page.on('console', (message) => message.type() === 'error' && complaints.push(message.text()));
      }
      await page.goto(server.origin + path);
      return page;
    },
  };
}
