import { DigitalSign } from 'kavrel-crypto';
import { startSimulator } from 'kavrel-crypto/simulator';
import type { Simulator } from 'kavrel-crypto/simulator';
import { afterAll, beforeAll, expect, test } from 'vitest';

import { checks } from '../checks/index.js';
import type { Intercept } from '../context.js';
import { callerOf } from '../outcome.js';
import { prompts } from '../prompts.js';
import type { CheckResult } from '../run.js';
import { runSelfCheck } from '../run.js';

import { brokenPlugins } from './broken-plugins.js';

let phone: Simulator;

beforeAll(async () => {
  phone = await startSimulator({ storage: 'memory', panel: false });
});
afterAll(() => phone.stop());

async function run(intercept?: Intercept): Promise<CheckResult[]> {
  const report = await runSelfCheck({
    call: callerOf(DigitalSign),
    announce: async ({ name }) => {
      phone.prompts = prompts[name].answer;
    },
    intercept,
  });
  return report.results;
}

const failed = (results: CheckResult[]): string[] =>
  results.filter(({ outcome }) => outcome === 'failed').map(({ name }) => name);

test('no two checks share a name, and each has a broken plugin that it must find', () => {
  expect(Object.keys(brokenPlugins).sort()).toEqual(checks.map(({ name }) => name).sort());
});

test('a run shows at most six prompts', () => {
  expect(Object.keys(prompts).length).toBeLessThanOrEqual(6);
});

test('every check passes on the simulator, and nothing is left behind', async () => {
  const results = await run();
  expect(results.filter(({ outcome }) => outcome !== 'passed')).toEqual([]);
  expect(results).toHaveLength(checks.length);
  expect(await phone.items()).toEqual([]);
});

test.each([0, 1])('a falsified observable turns exactly its own check red (half %i of the checks)', async (half) => {
  const falsified = checks.map(({ name }) => name).filter((_, index) => index % 2 === half);
  const intercept: Intercept = async (check, method, options, settled) => {
    const replaced = falsified.includes(check) ? brokenPlugins[check](method, { ...options }, settled) : undefined;
    return ((await replaced) as Awaited<typeof settled> | undefined) ?? settled;
  };
  expect(failed(await run(intercept))).toEqual(falsified);
});

test('where biometrics are not available, the checks that sign are not run', async () => {
  await phone.set({ enrolled: false });
  const results = await run();
  await phone.set({ enrolled: true });
  const notRun = results.filter(({ outcome }) => outcome === 'not run').map(({ name }) => name);
  expect(notRun).toHaveLength(7);
  expect(notRun.every((name) => name.startsWith('signDigest: '))).toBe(true);
  expect(failed(results)).toEqual([]);
});
