import { existsSync } from 'node:fs';
import { join } from 'node:path';
import { expect, inject, test } from 'vitest';

import { run, tree } from '../app.js';

const suite = join(tree, 'build/debug/tests/browser/plugin_tests_browser');
const minutes = 60_000;

test(
  'the plugin behaves as on every other device',
  async () => {
    const howToBuild = 'cmake --preset debug && cmake --build --preset debug --target plugin_tests_browser';
    expect(existsSync(suite), `These tests run a C++ program. Build it first: ${howToBuild}`).toBe(true);
    const env = { ...process.env, KAVREL_CRYPTO_PACKAGE: inject('tarball') };
    const { stdout } = await run(suite, { env, timeout: 9 * minutes, maxBuffer: Infinity });
    expect(stdout).toMatch(/\[ {2}PASSED {2}\] [1-9]\d* tests\./);
  },
  10 * minutes,
);
