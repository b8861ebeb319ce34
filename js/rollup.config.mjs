import { dts } from 'rollup-plugin-dts';

const external = ['@capacitor/core'];

export default [
  {
    input: 'js/dist/esm/index.js',
    output: { file: 'js/dist/plugin.cjs', format: 'cjs', inlineDynamicImports: true },
    external,
  },
  {
    input: 'js/dist/esm/index.d.ts',
    output: { file: 'js/dist/plugin.d.cts', format: 'es' },
    external,
    plugins: [dts()],
  },
  ...['index.d.ts', 'index.d.cts', 'ios.d.ts', 'ios.d.cts'].map((file) => ({
    input: `build/simulator/simulator/${file.replace('cts', 'ts')}`,
    output: {
      file: `js/dist/simulator/${file}`,
      format: 'es',
      paths: () => (file.endsWith('cts') ? './index.cjs' : './index.js'),
    },
    external: ['./index.js'],
    plugins: [dts()],
  })),
  ...['index.d.ts', 'index.d.cts'].map((file) => ({
    input: 'build/documents/documents/index.d.ts',
    output: { file: `js/dist/documents/${file}`, format: 'es' },
    plugins: [dts()],
  })),
];
