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
];
