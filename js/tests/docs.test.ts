import { cp, writeFile } from 'node:fs/promises';
import { join, posix } from 'node:path';
import { describe, expect, inject, test } from 'vitest';

import type { UserInfo } from '../src/definitions.js';

import { read, run, trackedFiles, tree } from './app.js';
import { calls, methods } from './calls.js';
import { PhonePage, bundle, open } from './page.js';

const app = inject('app');
const api = await read(tree, 'docs/api.md');
const guide = await read(tree, 'docs/web-guide.md');
const codeSpans = (text: string) => [...text.matchAll(/`([^`\n]+)`/g)].map(([, code]) => code);

test('the API page is what the definitions generate', async () => {
  const generated = join(app, 'api.md');
  await cp(join(tree, 'docs/api.md'), generated);
  const docgen = join(tree, 'node_modules/@capacitor/docgen/bin/docgen');
  const options = ['--project', 'js/tsconfig.json', '--api', 'DigitalSignPlugin', '--output-readme', generated];
  await run(process.execPath, [docgen, ...options], { cwd: tree });
  expect(api, 'run "npm run docgen"').toBe(await read(generated));
});

const pages = trackedFiles.filter((file) => /^(CHANGELOG|README|docs\/.+)\.md$/.test(file));
const folders = new Set(trackedFiles.filter((file) => file.includes('/')).map((file) => file.split('/')[0]));
const isInTheTree = (path: string) => trackedFiles.some((file) => file === path || file.startsWith(`${path}/`));

/** Returns the anchor that a Markdown viewer makes of a heading. */
const anchorOf = (heading: string) =>
  heading
    .toLowerCase()
    .replace(/[^\w -]/g, '')
    .replaceAll(' ', '-');

describe.each(pages)('%s', async (page) => {
  const text = await read(tree, page);

  test('links only to what is there', async () => {
    const targets = [...text.matchAll(/\]\(([^)\s]+)\)/g)].map(([, target]) => target);
    for (const target of targets.filter((target) => !/^https?:/.test(target))) {
      const [path, anchor] = target.split('#');
      const file = path ? posix.join(posix.dirname(page), path) : page;
      expect(trackedFiles, target).toContain(file);
      if (!anchor) continue;
      const headings = [...(await read(tree, file)).matchAll(/^#+ (.+)$/gm)].map(([, heading]) => anchorOf(heading));
      expect(headings, target).toContain(anchor);
    }
  });

  test('names only files and folders that are in the tree', () => {
    const paths = codeSpans(text).filter(
      (code) => /^[\w.-]+(\/[\w.-]*)+$/.test(code) && folders.has(code.split('/')[0]),
    );
    const ofThisTree = paths.filter((path) => !path.startsWith('ios/App/')); // that is in the app
    expect(ofThisTree.filter((path) => !isInTheTree(path.replace(/\/$/, '')))).toEqual([]);
  });
});

/** The C++ tests, as `Suite.Name`. */
const tests = new Set(
  (await Promise.all(trackedFiles.filter((file) => /^tests\/.+\.(cpp|mm)$/.test(file)).map((file) => read(tree, file))))
    .flatMap((source) => [...source.matchAll(/^TEST(?:_[FP])?\((\w+),\s*(\w+)\)/gm)])
    .map(([, suite, name]) => `${suite}.${name}`),
);

test('the security page names only tests that there are', async () => {
  const named = codeSpans(await read(tree, 'docs/security.md')).filter((code) => /^[A-Z]\w+\.[A-Z]\w+$/.test(code));
  expect(named.length).toBeGreaterThan(5);
  expect(named.filter((name) => !tests.has(name))).toEqual([]);
});

test('the page about the tests has the figures that are printed', async () => {
  const { stdout } = await run('script/figures', [], { cwd: tree });
  expect(await read(tree, 'docs/testing.md'), 'copy what script/figures prints').toContain(
    `\`\`\`text\n${stdout}\`\`\``,
  );
});

test('the page about development has the table of the set-ups that script/stacks tries', async () => {
  const tried = [...(await read(tree, 'js/stacks/stacks.mjs')).matchAll(/^ +(?:\{ )?name: '(.+?)'/gm)].map(
    ([, name]) => name,
  );
  const page = await read(tree, 'docs/develop-without-a-phone.md');
  const rows = [...page.matchAll(/^\| (?:\[(.+?)\]\(stacks\/.+?\)|(\w+)) \| .*\| .*\| .*\| .*\|$/gm)];
  expect(tried.length).toBeGreaterThan(10);
  expect(rows.map(([, linked, bare]) => linked ?? bare)).toEqual(tried);
});

const messages = new Set(methods.flatMap((method) => Object.keys(calls[method].rejections)));

test.each(methods)('the API page names each rejection of %s', (method) => {
  const section = api.match(new RegExp(`^### ${method}\\(.*?^---`, 'ms'))?.[0] ?? '';
  const named = codeSpans(section).filter((code) => messages.has(code));
  expect(named.sort()).toEqual(Object.keys(calls[method].rejections).sort());
});

test('the guide says for each rejection which methods it comes from', () => {
  const rows = [...guide.matchAll(/^\| `([^`]+)` \| (`[^|]+) \| .+ \| .+ \|$/gm)];
  const described = rows.map(([, message, from]) => [message, codeSpans(from)]);
  const from = (message: string) => methods.filter((method) => message in calls[method].rejections);
  expect(Object.fromEntries(described)).toEqual(
    Object.fromEntries([...messages].map((message) => [message, from(message)])),
  );
});

const [enrolment, digits] = [...guide.matchAll(/```ts\n(.*?)```/gs)].map(([, code]) => code);

test('the conversion of digits in the guide leaves ASCII digits and touches nothing else', async () => {
  await writeFile(join(app, 'digits.ts'), digits);
  const page = open();
  page.eval(await bundle(app, join(app, 'digits.ts')));
  expect(page.App.asciiDigits('۰۱۲۳۴۵۶۷۸۹ ٠١٢٣٤٥٦٧٨٩ 0123456789')).toBe('0123456789 0123456789 0123456789');
  expect(page.App.asciiDigits('شهر Shiraz ½')).toBe('شهر Shiraz ½');
});

describe('the enrolment in the guide', async () => {
  const userInfo = calls.createCSR.options.userInfo;
  const certPem = 'the certificate';

  await writeFile(join(app, 'enrolment.ts'), enrolment);

  /** Runs it on a phone whose slot holds `slot` in the end, and returns the methods that it called. */
  async function enrol(enabled: boolean, slot: string | null): Promise<string[]> {
    const answers: Record<string, object> = {
      getBiometricStatus: { enabled, status: 'BIOMETRIC_ERROR_LOCKOUT', type: 2 },
      createCSR: { csrPem: 'the request' },
      storeCertificate: { stored: true },
      getCertificate: { certPem: slot },
    };
    const script = await bundle(app, join(app, 'enrolment.ts'));
    const page = await PhonePage.open(app, script, ({ methodName }) => ({ data: answers[methodName] }));
    const { enrol } = page.app as unknown as { enrol(user: UserInfo, issue: (csr: string) => unknown): Promise<void> };
    await enrol(userInfo, async (request) => {
      expect(request).toBe('the request');
      return certPem;
    });
    return page.posted.map(({ methodName }) => methodName);
  }

  test('has twenty lines at most', () => {
    expect(enrolment.trimEnd().split('\n').length).toBeLessThanOrEqual(20);
  });

  test('compiles', async () => {
    const tsc = join(tree, 'node_modules/typescript/bin/tsc');
    const options = ['--strict', '--noEmit', '--module', 'esnext', '--moduleResolution', 'bundler'];
    const { stdout } = await run(process.execPath, [tsc, ...options, 'enrolment.ts'], { cwd: app }).catch((e) => e);
    expect(stdout).toBe('');
  });

  test('takes a person from the request to the stored certificate', async () => {
    expect(await enrol(true, certPem)).toEqual([
      'getBiometricStatus',
      'createCSR',
      'storeCertificate',
      'getCertificate',
    ]);
  });

  test('stops before the request if the person could not sign', async () => {
    await expect(enrol(false, null)).rejects.toThrow('BIOMETRIC_ERROR_LOCKOUT');
  });

  test('fails if the device did not store the certificate', async () => {
    await expect(enrol(true, null)).rejects.toThrow('did not store');
  });
});
