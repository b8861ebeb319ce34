import { writeFile } from 'node:fs/promises';
import { join } from 'node:path';
import { beforeAll, describe, expect, inject, test } from 'vitest';

import { call, calls, methods, rejectionOf } from './calls.js';
import type { Answer } from './page.js';
import { PhonePage, bundle } from './page.js';

const app = inject('app');

const rejections = methods.flatMap((method) =>
  Object.entries(calls[method].rejections).map(([message, code]) => [method, message, code] as const),
);

describe.each([
  ['ES module', 'es.mjs', `export * from 'kavrel-crypto';`],
  ['CommonJS', 'cjs.cjs', `module.exports = require('kavrel-crypto');`],
])('on the phone, from the %s build,', (_, file, text) => {
  let script: string;

  beforeAll(async () => {
    await writeFile(join(app, file), text);
    script = await bundle(app, join(app, file));
  });

  const answering = (answer?: Answer) => PhonePage.open(app, script, () => answer);

  test.each(methods)('%s posts its name and its arguments to the native side', async (method) => {
    const page = await answering({ data: {} });
    await call(page.app.DigitalSign, method);
    expect(page.posted).toEqual([
      {
        callbackId: expect.any(String),
        pluginId: 'DigitalSign',
        methodName: method,
        options: calls[method].options ?? {},
        type: 'message',
      },
    ]);
  });

  test.each(methods)('%s resolves with the native result', async (method) => {
    const { result } = calls[method];
    const page = await answering({ data: result });
    expect(await call(page.app.DigitalSign, method)).toEqual(result);
  });

  test.each(rejections)('%s rejects with "%s"', async (method, message, code) => {
    const page = await answering({ error: { message, ...(code && { code }) } });
    const rejection = await rejectionOf(call(page.app.DigitalSign, method));
    expect({ ...rejection, message: rejection.message }).toEqual({ message, errorMessage: message, code });
  });

  test('calls that are pending at once are each settled with their own answer', async () => {
    const page = await PhonePage.open(app, script, ({ options }) => ({
      data: { signatureB64: '', algo: 'RSA_SHA256', digestB64: (options as { digestB64: string }).digestB64 },
    }));
    const sign = (digestB64: string) => page.app.DigitalSign.signDigest({ nationalCode: '1', digestB64 });
    const results = await Promise.all(['AA==', 'AQ==', 'Ag=='].map(sign));
    expect(results.map((result) => result.digestB64)).toEqual(['AA==', 'AQ==', 'Ag==']);
  });

  test('setStyle, which is advertised and has no handler, reaches the native side and is never settled', async () => {
    const page = await answering(undefined);
    const { setStyle } = page.app.DigitalSign as unknown as { setStyle(): Promise<unknown> };
    const settled = setStyle();
    const pending = new Promise((resolve) => setTimeout(resolve, 100, 'pending'));
    expect(await Promise.race([settled, pending])).toBe('pending');
    expect(page.posted.map(({ methodName }) => methodName)).toEqual(['setStyle']);
  });

  test('the kinds of sensor have the numbers that the phone reports', async () => {
    const page = await answering();
    const { none, touchID, faceID, opticID } = page.app.BiometryType;
    expect([none, touchID, faceID, opticID]).toEqual([0, 1, 2, 4]);
  });
});
