import { cp } from 'node:fs/promises';
import { join } from 'node:path';
import { expect, inject, test } from 'vitest';

import { run, tree } from './app.js';

const app = inject('app');

test.each([
  ['a bundler', 'api.ts', ['--module', 'esnext', '--moduleResolution', 'bundler']],
  ['an ES module of Node.js', 'api.mts', ['--module', 'node16']],
  ['a CommonJS module of Node.js', 'api.cts', ['--module', 'node16']],
  [
    'what knows nothing of exports',
    'api.ts',
    ['--module', 'commonjs', '--moduleResolution', 'node10', '--ignoreDeprecations', '6.0'],
  ],
])('the whole interface is typed as %s imports it, without lib.dom', async (_, file, options) => {
  await cp(join(tree, 'js/tests/types/api.ts'), join(app, file));
  const tsc = join(tree, 'node_modules/typescript/bin/tsc');
  const strict = ['--strict', '--noEmit', '--target', 'es2020', '--lib', 'es2020'];
  const { stdout } = await run(process.execPath, [tsc, ...strict, ...options, file], { cwd: app }).catch((e) => e);
  expect(stdout).toBe('');
});
