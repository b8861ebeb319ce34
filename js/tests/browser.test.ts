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
    expect(rejection.message).toMatch(/"kavrel call"/);
  });
});

test.each([
  ['ES module', 'module', 'esm/index.js', `import { DigitalSign } from 'kavrel-crypto';`, 'import.meta.resolve'],
  ['CommonJS', 'commonjs', 'plugin.cjs', `const { DigitalSign } = require('kavrel-crypto');`, 'require.resolve'],
])('Node.js loads the %s build', async (_, type, file, load, resolve) => {
  const code = `${load}
    DigitalSign.hasKey({ nationalCode: '1' }).catch(({ code }) => console.log(code, ${resolve}('kavrel-crypto')));`;
  const { stdout } = await run(process.execPath, ['--input-type', type, '--eval', code], { cwd: app });
  expect(stdout).toMatch(new RegExp(`^UNAVAILABLE .*/js/dist/${file}\n$`));
});
