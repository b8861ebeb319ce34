/**
 * The set-ups that the documentation describes, one a row, in the order of its table.
 *
 * - `create`: the command that makes a fresh app in the folder `app`. Without it, the first block that is
 *   followed makes one.
 * - `apps`: the folders in `apps/` with what a developer would have in that app, such as a button "Sign". They are copied
 *   over it.
 * - `follows`: where the documentation describes the set-up, as one or more pages, each with the headings that count. The
 *   blocks of code before the first heading of a page and those under these headings are followed in their order: files are
 *   written, commands run.
 * - `serve`: the command that serves the app for development on port $PORT; a person signs in its page.
 * - `build`, `out`: the command that builds the app for production, and where that goes; it must hold no simulator.
 * - `passes`: what the commands of the page print when its tests have passed.
 * - `shows`: the packages whose versions are shown.
 * - `cheap`: it takes seconds, so `script/stacks --cheap` tries it.
 * - `untried`: why it is in the table without being tried.
 */

const overVite = { serve: 'npx vite --host 127.0.0.1 --port $PORT', build: 'npm run build', out: 'dist' };
const ofVite = (version, template) => ({
  create: `npm create vite@${version} app -- --template ${template} --no-interactive && cd app && npm install`,
  ...overVite,
});
const plainVite = { apps: ['plain'], follows: [['stacks/vite.md', 'Without a framework']], shows: ['vite'] };

const ofAngular = (...options) => ({
  create: `npx @angular/cli@latest new app --defaults --skip-git ${options.join(' ')} && rm app/src/app/app.spec.ts`,
  apps: ['angular'],
});
const inAngular = {
  serve: 'npx ng serve --host 127.0.0.1 --port $PORT',
  build: 'npx ng build',
  out: 'dist/app/browser',
};

/** An app without a bundler that is written in TypeScript. */
const empty = (...packages) =>
  `mkdir app && cd app && npm init --yes && npm install --save-dev @types/node ${packages.join(' ')}`;

/** The oldest release of Node.js that the package serves, which runs Jest here; the other set-ups run on the project's own. */
const oldest = 'node@20.0.0';

const ofJest = { create: empty(oldest, 'typescript@5'), apps: ['jest'], passes: /\b2 passed/ };
const ofVitest = { create: empty(), passes: /\b2 passed/ };

export const stacks = [
  { name: 'Vite 5', ...ofVite(5, 'vanilla-ts'), ...plainVite, cheap: true },
  { name: 'Vite 6', ...ofVite(6, 'vanilla-ts'), ...plainVite },
  { name: 'Vite 7', ...ofVite(7, 'vanilla-ts'), ...plainVite },
  {
    name: 'Vite 8',
    ...overVite,
    apps: ['plain'],
    follows: [
      ['develop-without-a-phone.md', 'Two minutes to a signature'],
      ['stacks/vite.md', 'Without a framework'],
    ],
    shows: ['vite'],
  },
  {
    name: 'Vite with plugin-legacy',
    ...ofVite('latest', 'vanilla-ts'),
    apps: ['plain'],
    follows: [['stacks/vite.md', 'Without a framework', 'Older browsers']],
    shows: ['vite', '@vitejs/plugin-legacy'],
  },
  {
    name: 'React in strict mode',
    ...ofVite('latest', 'react-ts'),
    apps: ['react'],
    follows: [['stacks/vite.md', 'React']],
    shows: ['react', 'vite'],
  },
  {
    name: 'Vue',
    ...ofVite('latest', 'vue-ts'),
    apps: ['vue'],
    follows: [['stacks/vite.md', 'Vue']],
    shows: ['vue', 'vite'],
  },
  {
    name: 'Angular',
    ...ofAngular('--zoneless'),
    ...inAngular,
    follows: [['stacks/angular.md', 'Unit tests', 'With Vitest']],
    passes: /\b1 passed/,
    shows: ['@angular/core', 'vitest'],
  },
  {
    name: 'Angular with zone.js and Karma',
    ...ofAngular('--no-zoneless', '--test-runner=karma'),
    ...inAngular,
    follows: [['stacks/angular.md', 'Unit tests', 'With Karma']],
    passes: /Executed 1 of 1 .*SUCCESS/,
    shows: ['@angular/core', 'zone.js', 'karma'],
  },
  {
    name: 'webpack with ts-loader',
    create: empty('typescript@5', 'webpack', 'webpack-cli', 'webpack-dev-server', 'html-webpack-plugin', 'ts-loader'),
    apps: ['plain', 'webpack'],
    follows: [['stacks/webpack.md']],
    serve: 'npx webpack serve --mode development --host 127.0.0.1 --port $PORT',
    build: 'npx webpack --mode production',
    out: 'dist',
    shows: ['webpack', 'ts-loader', 'typescript'],
  },
  {
    name: 'Next.js, static export',
    create: 'npx create-next-app@latest app --ts --app --src-dir --no-eslint --no-tailwind --disable-git --yes',
    apps: ['next'],
    follows: [['stacks/next.md']],
    serve: 'npx next dev --hostname 127.0.0.1 --port $PORT',
    build: 'npm run build',
    out: 'out',
    shows: ['next', 'react'],
  },
  {
    name: 'Jest',
    ...ofJest,
    follows: [['stacks/jest.md', 'Node.js']],
    shows: ['node', 'jest', 'ts-jest', 'typescript'],
  },
  {
    name: 'Jest with jsdom',
    ...ofJest,
    follows: [['stacks/jest.md', 'jsdom']],
    shows: ['node', 'jest', 'jest-environment-jsdom', 'typescript'],
    cheap: true,
  },
  { name: 'Vitest', ...ofVitest, follows: [['stacks/vitest.md', 'Node.js']], shows: ['vitest'], cheap: true },
  { name: 'Vitest with jsdom', ...ofVitest, follows: [['stacks/vitest.md', 'jsdom']], shows: ['vitest', 'jsdom'] },
  {
    name: 'Vitest with happy-dom',
    ...ofVitest,
    follows: [['stacks/vitest.md', 'happy-dom']],
    shows: ['vitest', 'happy-dom'],
  },
  {
    name: 'Vitest in a browser',
    ...ofVitest,
    follows: [['stacks/vitest.md', 'Browser mode']],
    shows: ['vitest', '@vitest/browser-playwright'],
  },
  {
    name: 'Playwright Test',
    create: ofVite('latest', 'vanilla-ts').create,
    apps: ['plain'],
    follows: [['stacks/vite.md', 'Without a framework'], ['stacks/playwright.md']],
    passes: /\b2 passed/,
    shows: ['@playwright/test', 'vite'],
  },
  { name: 'Cypress', untried: 'its program is not on the npm registry' },
];
