import { cp, mkdir, mkdtemp, symlink, writeFile } from 'node:fs/promises';
import { tmpdir } from 'node:os';
import { dirname, join } from 'node:path';

import { blocksOf } from '../stacks/blocks.mjs';

import { run, tree } from './app.js';
import { calls } from './calls.js';

/** The code that the documentation has for an app, under "page section name". */
const documented = new Map<string, string>();
for (const page of ['README.md', 'docs/develop-without-a-phone.md', 'docs/stacks/vite.md', 'docs/web-guide.md']) {
  for (const { section, name, code } of await blocksOf(join(tree, page))) {
    documented.set(`${page} ${section} ${name}`, code);
  }
}

/** Returns the code under a heading of a page, in the file or language of that name. */
export function block(page: string, section: string, name: string): string {
  const code = documented.get(`${page} ${section} ${name}`);
  if (code === undefined) throw new Error(`${page} has no ${name} under "${section}"`);
  return code;
}

const develop = (section: string, name: string) => block('docs/develop-without-a-phone.md', section, name);

const html = (script: string) => `<!doctype html>
<html lang="en">
  <head>
    <meta charset="utf-8" />
    <title>App</title>
    <script type="module" src="${script}"></script>
  </head>
  <body>
    <button id="enrol" disabled>Enrol</button>
    <button id="sign" disabled>Sign</button>
    <output></output>
    <pre></pre>
  </body>
</html>`;

const { userInfo } = calls.createCSR.options;
export const { nationalCode, digestB64 } = calls.signDigest.options;

const app = `import { enrol, sign } from './enrolment.js';

declare function issue(request: string): Promise<string>;

function onClick(id: string, work: () => Promise<string>): void {
  const button = document.querySelector<HTMLButtonElement>(id)!;
  button.addEventListener('click', async () => {
    document.querySelector('output')!.value = await work().catch(({ code, message }) => \`\${code}: \${message}\`);
  });
  button.disabled = false;
}

onClick('#enrol', async () => {
  await enrol(${JSON.stringify(userInfo)}, issue);
  return 'Enrolled';
});

onClick('#sign', async () => {
  document.querySelector('pre')!.textContent = await sign('${nationalCode}', '${digestB64}');
  return 'Signed';
});
`;

/** A configuration that puts all dependencies into one chunk. */
const vendor = (strictExecutionOrder: boolean) => `export default {
  build: {
    rolldownOptions: {
      input: 'ios.html',
      output: {
        codeSplitting: { groups: [{ name: 'vendor', test: /node_modules/ }] },
        strictExecutionOrder: ${strictExecutionOrder},
      },
    },
  },
};`;

const files: Record<string, string> = {
  'index.html': html('/src/main.ts'),
  'plain.html': html('/src/app.ts'),
  'ios.html': html('/src/ios.ts'),
  'readme.html': html('/src/readme.ts'),
  'two-minutes.html': html('/src/two-minutes.ts'),
  'package.json': JSON.stringify({ name: 'fresh-app', private: true, type: 'module' }),
  'tsconfig.json': JSON.stringify({
    compilerOptions: {
      target: 'es2022',
      lib: ['es2022', 'esnext.disposable', 'dom'],
      module: 'esnext',
      moduleResolution: 'bundler',
      strict: true,
      noEmit: true,
      skipLibCheck: true,
      types: ['vite/client'],
    },
    include: ['src', 'tests'],
  }),
  'public/favicon.ico': '',
  'src/main.ts': block('docs/stacks/vite.md', 'Without a framework', 'src/main.ts'),
  'src/ios.ts': "import('kavrel-crypto/simulator/ios').then(() => import('./app'));",
  'src/readme.ts': block('README.md', '', 'src/main.ts'),
  'src/two-minutes.ts': develop('Two minutes to a signature', 'src/main.ts'),
  'src/sign.ts': develop('Two minutes to a signature', 'src/sign.ts'),
  'src/app.ts': app,
  'src/enrolment.ts': block('docs/web-guide.md', 'Enrolment', 'ts'),
  'tests/simulator.test.ts': develop('In a test', 'tests/simulator.test.ts'),
  'ordered.config.ts': vendor(true),
  'unordered.config.ts': vendor(false),
};

/** The repository's own tools, which spare the app their installation. */
const tools = ['jsdom', 'playwright-core', 'typescript', 'vite', 'vitest', '.bin'];

/**
 * Makes a Vite app in a folder of its own with the packages that `installed`, an app's node_modules, has from npm. The
 * caller removes the folder.
 */
export async function makeFreshApp(installed: string): Promise<string> {
  const folder = await mkdtemp(join(tmpdir(), 'kavrel-crypto-fresh-'));
  const modules = join(folder, 'node_modules');
  for (const name of ['@capacitor/core', 'kavrel-crypto', 'tslib']) {
    await cp(join(installed, name), join(modules, name), { recursive: true });
  }
  for (const name of tools) await symlink(join(tree, 'node_modules', name), join(modules, name));
  for (const [name, content] of Object.entries(files)) {
    await mkdir(dirname(join(folder, name)), { recursive: true });
    await writeFile(join(folder, name), content);
  }
  return folder;
}

/** Runs a command in a folder and returns what it prints. Rejects with all of that if the command fails. */
export async function runIn(folder: string, env: NodeJS.ProcessEnv, ...command: string[]): Promise<string> {
  const [file, ...args] = command;
  const running = run(file, args, { cwd: folder, env: { ...process.env, ...env }, timeout: 60_000 });
  const { stdout } = await running.catch(({ stdout, stderr }) => {
    throw new Error(`${command.join(' ')} failed:\n${stdout}${stderr}`);
  });
  return stdout;
}
