import { defineConfig } from 'vitest/config';

export default defineConfig({
  cacheDir: '../node_modules/.vite',
  test: {
    root: import.meta.dirname,
    include: ['tests/*.test.ts'],
    globalSetup: 'tests/app.ts',
    // The first run of the Capacitor CLI and of the compiler on a busy machine.
    testTimeout: 120_000,
    hookTimeout: 120_000,
  },
});
