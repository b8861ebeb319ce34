import { globSync } from 'tinyglobby';
import { expect, test } from 'vitest';

import type { BiometricStatus } from '../src/definitions.js';

import { read, tree } from './app.js';
import { calls, methods, registeredMethods } from './calls.js';

const files = globSync('plugin/*.{cpp,hpp}', { cwd: tree });
const sources = (await Promise.all(files.map((file) => read(tree, file)))).join('\n');
const written = (pattern: RegExp) => [...sources.matchAll(pattern)].map(([, text]) => text);
const distinct = (texts: string[]) => [...new Set(texts)].sort();

test('the component registers the methods of the table, and all but setStyle are typed', () => {
  expect(written(/^ +(?:ADVERTISED|METHOD)\((\w+)\)/gm)).toEqual(registeredMethods);
  expect(distinct([...methods, 'setStyle'])).toEqual(distinct(registeredMethods));
});

test('the component rejects with the typed messages and no others', () => {
  const typed = methods.flatMap((method) => Object.keys(calls[method].rejections));
  expect(distinct(written(/\breject\(\*?call, "([^"]+)"/g))).toEqual(distinct(typed));
});

test('the component reports the typed biometric statuses and no others', () => {
  const typed: Record<BiometricStatus, true> = {
    BIOMETRIC_SUCCESS: true,
    BIOMETRIC_ERROR_NO_HARDWARE: true,
    BIOMETRIC_ERROR_NONE_ENROLLED: true,
    BIOMETRIC_ERROR_LOCKOUT: true,
    BIOMETRIC_STATUS_UNKNOWN: true,
    UNKNOWN: true,
  };
  expect(distinct(written(/return "([A-Z_]+)";/g))).toEqual(distinct(Object.keys(typed)));
});
