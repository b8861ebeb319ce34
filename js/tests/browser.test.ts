import { writeFile } from 'node:fs/promises';
import { join } from 'node:path';
import { beforeAll, describe, expect, inject, test } from 'vitest';

import { run } from './app.js';
import { call, methods, rejectionOf } from './calls.js';
import type { Bundle } from './page.js';
import { bundle, open } from './page.js';

const app = inject('app');

describe('in a plain browser', () => {
  let script: string;

  beforeAll(async () => {
    await writeFile(join(app, 'browser.mjs'), `export * from 'kavrel-crypto';`);
    script = await bundle(app, join(app, 'browser.mjs'));
  });

  test.each(methods)('%s rejects as unavailable and says what to do', async (method) => {
    const page = open();
    page.eval(script);
    const rejection = await rejectionOf(call((page.App as Bundle).DigitalSign, method));
    expect(rejection.code).toBe('UNAVAILABLE');
    expect(rejection.message).toMatch(/run this in the iOS app/);
    expect(rejection.message).toMatch(/"kavrel serve"/);
  });
});

test.each([
  ['import', `import('kavrel-crypto')`],
  ['require', `Promise.resolve(require('kavrel-crypto'))`],
])('Node.js loads the build that it gets with %s', async (_, load) => {
  const code = `${load}.then((m) => m.DigitalSign.hasKey({ nationalCode: '1' })).catch((e) => console.log(e.code))`;
  const { stdout } = await run(process.execPath, ['--eval', code], { cwd: app });
  expect(stdout).toBe('UNAVAILABLE\n');
});
