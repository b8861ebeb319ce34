import { readFile } from 'node:fs/promises';
import { join } from 'node:path';
import { gzipSync } from 'node:zlib';
import { expect, inject, test } from 'vitest';

const dist = join(inject('app'), 'node_modules/kavrel-crypto/js/dist');

/** Returns what the files come to, compressed, in bytes. */
async function compressedSize(...files: string[]): Promise<number> {
  const contents = await Promise.all(files.map((file) => readFile(join(dist, file))));
  return gzipSync(Buffer.concat(contents), { level: 9 }).length;
}

test.each(['index.js', 'index.cjs'])('the simulator, WebAssembly included, is at most 160 kB in %s', async (file) => {
  expect(await compressedSize(`simulator/${file}`, 'simulator/wasm/component.js')).toBeLessThanOrEqual(160_000);
});

test.each(['js', 'cjs'])('the entry for documents is at most 45 kB: %s', async (extension) => {
  const files = [`documents/index.${extension}`, `documents/asn1.${extension}`];
  expect(await compressedSize(...files)).toBeLessThanOrEqual(45_000);
});

// Of which 250 bytes are there for the simulator: they find it and hand the calls to it.
test.each([
  ['the ES modules', 950, ['esm/index.js', 'esm/definitions.js', 'esm/web.js']],
  ['the CommonJS module', 1030, ['plugin.cjs']],
])('the plain package stays small for apps without the simulator: %s', async (_, limit, files) => {
  expect(await compressedSize(...files)).toBeLessThanOrEqual(limit);
});
