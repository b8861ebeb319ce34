// Bundles the simulator's entries, each with everything that it needs. script/wasm must have compiled the component.

import { appendFile, readFile } from 'node:fs/promises';
import { resolve } from 'node:path';
import { gzipSync } from 'node:zlib';
import { build } from 'vite';

const compiled = (file) => resolve(import.meta.dirname, '../build/wasm/tools/simulator', file);
const source = (file) => resolve(import.meta.dirname, 'src/simulator', file);
const folder = resolve(import.meta.dirname, 'dist/simulator');

/** The file with the licences of what is bundled. */
const licences = 'licences.md';

/** Provides Emscripten's loader as it is, and the compressed WebAssembly as a module that exports a string. */
const component = {
  name: 'component',
  resolveId: (id) => ({ 'virtual:component': compiled('component.mjs'), 'virtual:component/wasm': '\0wasm' })[id],
  async load(id) {
    if (id !== '\0wasm') return null;
    const bytes = await readFile(compiled('component.wasm'));
    return `export default '${gzipSync(bytes, { level: 9 }).toString('base64')}';`;
  },
};

/** Bundles an entry. If `other` is given, the simulator is not part of it, and is imported from that file. */
const bundle = (entry, file, format, other) =>
  build({
    configFile: false,
    publicDir: false,
    logLevel: 'warn',
    plugins: [component],
    build: {
      target: 'es2022',
      outDir: folder,
      emptyOutDir: false,
      license: !other && { fileName: licences },
      lib: { entry: source(entry), formats: [format], fileName: () => file },
      minify: false, // whoever tests reads its stack traces
      rolldownOptions: {
        external: other && ['./index.js'],
        output: { paths: () => other, comments: { legal: false, jsdoc: false } },
      },
    },
  });

await bundle('index.ts', 'index.js', 'es');
await bundle('index.ts', 'index.cjs', 'cjs');
// This entry imports the other, so that there is one copy of the simulator.
await bundle('ios.ts', 'ios.js', 'es', './index.js');
await bundle('ios.ts', 'ios.cjs', 'cjs', './index.cjs');

// The bundler does not know what is in the WebAssembly.
await appendFile(
  resolve(folder, licences),
  await readFile(resolve(import.meta.dirname, 'emscripten-licences.md'), 'utf8'),
);
