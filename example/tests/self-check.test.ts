import { version } from 'kavrel-crypto/package.json';
import type { Simulator } from 'kavrel-crypto/simulator';
import { readFile } from 'node:fs/promises';
import type { Page } from 'playwright-core';
import { afterAll, beforeAll, expect, test } from 'vitest';

import { checks } from '../../conformance/checks/index.js';
import { prompts } from '../../conformance/prompts.js';
import type { Report } from '../../conformance/run.js';

import { Example } from './browser.js';

let example: Example;

beforeAll(async () => {
  example = await Example.start();
});
afterAll(() => example.stop());

/** The page says that this many checks ended, and all of them well. */
const green = (page: Page): Promise<void> =>
  page
    .locator('#summary')
    .filter({ hasText: `${checks.length} passed, 0 failed, 0 could not run` })
    .waitFor();

test('the self-check is green in the browser, and its report can be downloaded', async () => {
  const page = await example.open('self-check.html');
  await page.getByRole('button', { name: 'Run the check' }).click();
  await green(page);
  expect(await page.locator('#results li[data-outcome=passed]').count()).toBe(checks.length);

  const [download] = await Promise.all([page.waitForEvent('download'), page.click('#download-report')]);
  const report = JSON.parse(await readFile(await download.path(), 'utf8')) as Report & Record<string, unknown>;
  expect(report.results.map(({ name }) => name)).toEqual(checks.map(({ name }) => name));
  expect(report).toMatchObject({ package: `kavrel-crypto ${version}`, platform: 'ios' });
  expect(report.notRunnable.length).toBeGreaterThan(0);
});

test('on a phone the person answers each prompt, and copies or shares the report', async () => {
  const page = await example.open('self-check.html');
  const device = await page.evaluateHandle(async () => {
    const window = globalThis as { kavrelSimulator?: Promise<Simulator | null> };
    const simulator = (await window.kavrelSimulator)!;
    window.kavrelSimulator = Promise.resolve(null);
    const device = { simulator, shared: [] as (ShareData | undefined)[] };
    navigator.share = async (data) => void device.shared.push(data);
    return device;
  });
  await page.getByRole('button', { name: 'Run the check' }).click();
  for (const [index, { ask, answer }] of Object.values(prompts).entries()) {
    await page.getByText(`Prompt ${index + 1} of ${Object.keys(prompts).length}. ${ask}`).waitFor();
    await device.evaluate(({ simulator }, answer) => {
      simulator.prompts = answer;
    }, answer);
    await page.getByRole('button', { name: 'Show the prompt' }).click();
  }
  await green(page);
  expect(await page.locator('#download-report').isVisible()).toBe(false);

  const report = await page.getByLabel('The report, as JSON').inputValue();
  expect(JSON.parse(report).results).toHaveLength(checks.length);
  await page.context().grantPermissions(['clipboard-read', 'clipboard-write']);
  await page.getByRole('button', { name: 'Copy the report' }).click();
  await page.getByText('Copied.').waitFor();
  expect(await page.evaluate(() => navigator.clipboard.readText())).toBe(report);

  await page.evaluate(() => {
    navigator.clipboard.writeText = () => Promise.reject(new Error('Not allowed'));
  });
  await page.getByRole('button', { name: 'Copy the report' }).click();
  await page.getByText('It is selected').waitFor();
  expect(await page.evaluate(() => getSelection()?.toString())).toBe(report);

  await page.getByRole('button', { name: 'Share the report' }).click();
  expect(await device.evaluate(({ shared }) => shared)).toEqual([{ title: 'Self-check', text: report }]);
});
