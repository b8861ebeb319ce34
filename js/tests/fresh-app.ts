import { cp, mkdir, mkdtemp, symlink, writeFile } from 'node:fs/promises';
import { tmpdir } from 'node:os';
import { dirname, join } from 'node:path';

import { read, run, tree } from './app.js';
import { calls } from './calls.js';

/** A fenced block of code on a page of the documentation. */
interface Block {
  /** The file that its first line names, or else its language. */
  name: string;
  code: string;
}

/** Returns the blocks of code on a page, also those in lists. */
async function blocksOf(page: string): Promise<Block[]> {
  const fences = (await read(tree, page)).matchAll(/^( *)```(\w+)\n(.*?)^ *```$/gms);
  return [...fences].map(([, indentation, language, text]) => {
    const code = text.replace(new RegExp(`^${indentation}`, 'gm'), '');
    return { name: code.match(/^\/\/ (\S+)\n/)?.[1] ?? language, code };
  });
}

/** The blocks of the page "Develop without a phone". */
export const blocks = await blocksOf('docs/develop-without-a-phone.md');

const [enrolment] = await blocksOf('docs/web-guide.md').then((found) => found.filter(({ name }) => name === 'ts'));

/** Returns the code of the block of that name. */
export function block(name: string): string {
  const found = blocks.filter((block) => block.name === name);
  if (found.length !== 1) throw new Error(`docs/develop-without-a-phone.md has ${found.length} blocks ${name}`);
  return found[0].code;
}

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

/** An enrolment and a signature in Vitest, with OpenSSL as the authority. */
const enrolmentTest = `import { startSimulator } from 'kavrel-crypto/simulator';
import { verify, X509Certificate } from 'node:crypto';
import { expect, test } from 'vitest';

import { useOpenSSL } from ${JSON.stringify(join(tree, 'js/tests/simulator/openssl.ts'))};
import { enrol, sign } from '../src/enrolment.js';

const openssl = useOpenSSL();

test('a person is enrolled and signs', async () => {
  const phone = await startSimulator({ prompts: 'match' });
  expect(phone.storage).toBe('memory');
  let certificate = '';
  await enrol(${JSON.stringify(userInfo)}, async (request) => (certificate = await openssl.issue(request)));
  const signature = Buffer.from(await sign('${nationalCode}', '${digestB64}'), 'base64');
  const { publicKey } = new X509Certificate(certificate);
  expect(verify('sha256', Buffer.from('${digestB64}', 'base64'), publicKey, signature)).toBe(true);
  await phone.stop();
});
`;

const files: Record<string, string> = {
  'index.html': html('/src/main.ts'),
  'plain.html': html('/src/app.ts'),
  'package.json': JSON.stringify({ name: 'fresh-app', private: true, type: 'module' }),
  'tsconfig.json': JSON.stringify({
    compilerOptions: {
      target: 'es2022',
      lib: ['es2022', 'dom'],
      module: 'esnext',
      moduleResolution: 'bundler',
      strict: true,
      noEmit: true,
      skipLibCheck: true,
      types: ['vite/client'],
    },
    include: ['src', 'tests/sign.test.ts', 'tests/browser.test.ts', 'vendor.config.ts'],
  }),
  'public/favicon.ico': '',
  'src/main.ts': block('src/main.ts'),
  'src/app.ts': app,
  'src/enrolment.ts': enrolment.code,
  'tests/sign.test.ts': block('tests/sign.test.ts'),
  'tests/browser.test.ts': block('tests/browser.test.ts'),
  'tests/enrolment.test.ts': enrolmentTest,
  'one-chunk.config.ts': 'export default { build: { rolldownOptions: { output: { codeSplitting: false } } } };',
  'vendor.config.ts': block('vite.config.ts'),
  'unordered.config.ts': block('vite.config.ts').replace(/^ *strictExecutionOrder.*\n/m, ''),
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
