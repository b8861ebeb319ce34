import { readFile } from 'node:fs/promises';
import { version } from 'kavrel-crypto/package.json';
import { afterAll, beforeAll, expect, test } from 'vitest';

import { checks } from '../src/self-check/checks/index.js';
import type { Report } from '../src/self-check/run.js';

import { Example } from './browser.js';

let example: Example;

beforeAll(async () => {
  example = await Example.start();
});
afterAll(() => example.stop());

test('the self-check is green in the browser, and its report can be sent back', async () => {
  const page = await example.open('self-check.html');
  await page.getByRole('button', { name: 'Run the check' }).click();
  await page
    .locator('#summary')
    .filter({ hasText: `${checks.length} passed, 0 failed, 0 could not run` })
    .waitFor();
  expect(await page.locator('#results li[data-outcome=passed]').count()).toBe(checks.length);

  const [download] = await Promise.all([page.waitForEvent('download'), page.click('#download-report')]);
  const report = JSON.parse(await readFile(await download.path(), 'utf8')) as Report & Record<string, unknown>;
  expect(report.results.map(({ name }) => name)).toEqual(checks.map(({ name }) => name));
  expect(report).toMatchObject({ package: `kavrel-crypto ${version}`, platform: 'ios' });
  expect(report.notRunnable.length).toBeGreaterThan(0);
});
