import axe from 'axe-core';
import { join } from 'node:path';
import type { Browser, BrowserContextOptions, Page } from 'playwright-core';
import { build } from 'vite';
import { afterAll, afterEach, beforeAll, expect } from 'vitest';

import { launchChromium } from '../../chromium.mjs';

/** The page's policy: no style passes that is in the markup or that a script adds to it. */
const policy = `default-src 'none'; script-src 'self' 'wasm-unsafe-eval'; style-src 'self'`;

const style = `
  body { margin: 2rem; font: 1rem/1.5 Georgia, serif; background: #fff; color: #222 }
  @media (prefers-color-scheme: dark) { body { background: #101418; color: #dde3ea } }`;

const markup = (dir: string) => `<!doctype html>
  <html lang="en" dir="${dir}">
    <head>
      <meta charset="utf-8">
      <meta name="viewport" content="width=device-width">
      <title>App</title>
      <link rel="stylesheet" href="/app.css">
    </head>
    <body>
      <main>
        <h1>Sign a document</h1>
        <p>An agreement between the parties, made on the twenty-first day of November.</p>
        <button id="sign">Sign</button>
        <dialog id="modal" aria-label="Amount"><input id="amount" aria-label="Amount"><button id="pay">Pay</button></dialog>
      </main>
      <script src="/app.js"></script>
    </body>
  </html>`;

export interface PageOptions extends BrowserContextOptions {
  /** What the app's style sheet holds besides the usual. */
  css?: string;
  dir?: 'ltr' | 'rtl';
}

/** Bundles the panel with the scripted phone. */
async function bundlePanel(): Promise<string> {
  const entry = join(import.meta.dirname, 'app.ts');
  const output = await build({
    configFile: false,
    logLevel: 'error',
    build: { write: false, minify: false, lib: { entry, name: 'App', formats: ['iife'] } },
  });
  const [{ output: chunks }] = output as { output: { code: string }[] }[];
  return chunks[0].code;
}

/**
 * Starts a browser for the tests of a file. Returns what opens an app's page with the panel on it. A test fails if the
 * browser complained of anything meanwhile, the content security policy included.
 */
export function usePanelPages(): (options?: PageOptions) => Promise<Page> {
  let script: string;
  let browser: Browser;
  const complaints: string[] = [];
  beforeAll(async () => {
    [script, browser] = await Promise.all([bundlePanel(), launchChromium()]);
  });
  afterAll(() => browser.close());
  afterEach(() => expect(complaints.splice(0)).toEqual([]));

  return async ({ css = '', dir = 'ltr', ...context } = {}) => {
    const page = await browser.newPage({ viewport: { width: 1000, height: 720 }, reducedMotion: 'reduce', ...context });
    page.on('pageerror', (error) => complaints.push(String(error)));
    page.on('console', (message) => complaints.push(message.text()));
    const files: Record<string, [string, string]> = {
      '/': ['text/html', markup(dir)],
      '/app.css': ['text/css', style + css],
      '/app.js': ['text/javascript', script],
      '/favicon.ico': ['image/x-icon', ''],
    };
    await page.route('http://localhost/**', (route) => {
      const [contentType, content] = files[new URL(route.request().url()).pathname];
      return route.fulfill({ contentType, body: content, headers: { 'content-security-policy': policy } });
    });
    await page.clock.install();
    await page.goto('http://localhost/');
    return page;
  };
}

/**
 * What axe-core finds wrong on the page, the shadow root included, and each contrast that it cannot tell. It looks for
 * what lies behind a text in the body only, so the panel is moved there.
 */
export async function violations(page: Page): Promise<string[]> {
  await page.evaluate(() => document.body.append(document.querySelector('kavrel-simulator')!));
  if (!(await page.evaluate(() => 'axe' in window))) await page.evaluate(axe.source);
  const found = await page.evaluate(() => (window as unknown as { axe: typeof axe }).axe.run());
  const untold = found.incomplete.filter(({ id }) => id === 'color-contrast');
  return [...found.violations, ...untold].flatMap(({ id, nodes }) =>
    nodes.map(({ target }) => `${id}: ${target.join(' ')}`),
  );
}
