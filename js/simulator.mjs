// Bundles the simulator's entries, each with everything that it needs. script/wasm must have compiled the component.

import { appendFile, mkdir, readFile, writeFile } from 'node:fs/promises';
import { resolve } from 'node:path';
import { gzipSync } from 'node:zlib';
import { build, minify } from 'vite';

const compiled = (file) => resolve(import.meta.dirname, '../build/wasm/tools/simulator', file);
const source = (file) => resolve(import.meta.dirname, 'src/simulator', file);
const folder = resolve(import.meta.dirname, 'dist/simulator');

/** The file with the licences of what is bundled. */
const licences = 'licences.md';

/**
 * The file with the compressed WebAssembly, the larger part of the simulator, which the ES module and the CommonJS module
 * share. It has neither imports nor exports, so it can be loaded as either: it puts a string where the two look for it.
 */
const wasm = './wasm/component.js';
const place = `globalThis[Symbol.for('kavrel-crypto.simulator.wasm')]`;

/** Provides Emscripten's loader, minified, and the compressed WebAssembly as a module that exports a string. */
const component = {
  name: 'component',
  resolveId: (id) => ({ 'virtual:component': compiled('component.mjs'), 'virtual:component/wasm': '\0wasm' })[id],
  async load(id) {
    if (id === '\0wasm') return `import '${wasm}'; export default ${place};`;
    return id === compiled('component.mjs') ? minify(id, await readFile(id, 'utf8')) : null;
  },
};

/** Minifies what others wrote: the stack traces that tests show are read for what is ours. */
const libraries = {
  name: 'libraries',
  async transform(code, id) {
    return id.includes('/node_modules/') ? { code: (await minify(id, code, { module: true })).code, map: null } : null;
  },
};

/** Bundles an entry. If `other` is given, the simulator is not part of it, and is imported from that file. */
const bundle = (entry, file, format, other) =>
  build({
    configFile: false,
    publicDir: false,
    logLevel: 'warn',
    plugins: [component, libraries],
    build: {
      target: 'es2022',
      outDir: folder,
      emptyOutDir: false,
      license: !other && { fileName: licences },
      lib: { entry: source(entry), formats: [format], fileName: () => file },
      minify: false, // whoever tests reads the stack traces of the rest
      rolldownOptions: {
        external: other ? ['./index.js'] : [wasm],
        output: { paths: () => other ?? wasm, comments: { legal: false, jsdoc: false } },
      },
    },
  });

const compressed = gzipSync(await readFile(compiled('component.wasm')), { level: 9 }).toString('base64');
await mkdir(resolve(folder, 'wasm'), { recursive: true });
await writeFile(resolve(folder, wasm), `${place} = '${compressed}';\n`);
await writeFile(resolve(folder, 'wasm/package.json'), '{ "type": "commonjs" }\n');

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
