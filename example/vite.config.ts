import { defineConfig } from 'vitest/config';

export default defineConfig({
  build: {
    target: 'es2022',
    rollupOptions: { input: ['index.html', 'self-check.html'] },
  },
  test: {
    include: ['tests/*.test.ts', '../conformance/tests/*.test.ts'],
    maxWorkers: '100%', // they wait for a browser more than they compute
    // A browser that starts on a busy machine.
    testTimeout: 120_000,
    hookTimeout: 120_000,
  },
});
