import { defineConfig } from 'vitest/config';

export default defineConfig({
  cacheDir: '../node_modules/.vite',
  test: {
    root: import.meta.dirname,
    include: ['tests/**/*.test.ts'],
    globalSetup: 'tests/app.ts',
    maxWorkers: '200%', // they wait for a browser more than they compute
    // The Capacitor CLI and the compiler take this long the first time, on a busy machine.
    testTimeout: 120_000,
    hookTimeout: 120_000,
  },
});
