// Bundles the entry for documents. The packages for ASN.1 are in a module of their own, so that an app's bundler can leave it
// out.

import { resolve } from 'node:path';
import { build } from 'vite';

const source = (file) => resolve(import.meta.dirname, 'src', file);

/** Bundles a module. `elsewhere` has the modules that are not bundled with it, and the paths that it imports them from. */
const bundle = (entry, file, format, elsewhere, minify) =>
  build({
    configFile: false,
    publicDir: false,
    logLevel: 'warn',
    build: {
      target: 'es2022',
      outDir: resolve(import.meta.dirname, 'dist/documents'),
      emptyOutDir: false,
      license: minify && { fileName: 'licences.md' },
      lib: { entry: source(entry), formats: [format], fileName: () => file },
      rolldownOptions: { external: Object.keys(elsewhere), output: { paths: elsewhere, minify } },
    },
  });

for (const [format, extension, plain] of [
  ['es', 'js', '../esm/index.js'],
  ['cjs', 'cjs', '../plugin.cjs'],
]) {
  const asn1 = `asn1.${extension}`;
  const elsewhere = { [source('index.ts')]: plain, [source('documents/asn1.ts')]: `./${asn1}` };
  await bundle('documents/index.ts', `index.${extension}`, format, elsewhere, false);
  await bundle('documents/asn1.ts', asn1, format, {}, true);
}
