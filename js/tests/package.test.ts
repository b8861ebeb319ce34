import { stat } from 'node:fs/promises';
import { createRequire } from 'node:module';
import { dirname, join, normalize } from 'node:path';
import { publint } from 'publint';
import { formatMessage } from 'publint/utils';
import { globSync } from 'tinyglobby';
import { describe, expect, inject, test } from 'vitest';

import { read, run, trackedFiles, tree } from './app.js';

const { resolve } = createRequire(import.meta.url)('eslint-import-resolver-node');

const installed = join(inject('app'), 'node_modules/kavrel-crypto');
const installedFiles = globSync('**', { cwd: installed, dot: true }).sort();

/** What an entry of the package's exports leads to, for those that import it. */
interface Entry {
  import: { default: string };
}

const isSource = (file: string) => /\.(c|cc|cpp|m|mm|S)$/.test(file);
const isHeader = (file: string) => /\.(h|hpp)$/.test(file);
const quoted = (text = '') => [...text.matchAll(/["']([^"']+)["']/g)].map(([, inner]) => inner);

/** The sources that the phone runs: the component, the Apple device and the plugin class. */
const cmake = await read(tree, 'CMakeLists.txt');
const component = [...cmake.matchAll(/add_library\(\w+ STATIC([^)]+)\)/g)].flatMap(
  ([, files]) => files.match(/\S+\.cpp/g) ?? [],
);
const apple = trackedFiles.filter((file) => isSource(file) && /^(ios|devices\/apple)\//.test(file));
const sources = [...component, ...apple].sort();

const manifest = await read(installed, 'Package.swift');
const swiftSources = quoted(manifest.match(/sources: \[([^\]]+)\]/)?.[1]).flatMap((entry) =>
  isSource(entry) ? globSync(entry, { cwd: installed }) : globSync(`${entry}/**`, { cwd: installed }).filter(isSource),
);

const podspec = await read(installed, 'KavrelCrypto.podspec');
const podFiles = quoted(podspec.match(/source_files = ([^=]+)\n\s+(?:#|s\.)/)?.[1]).flatMap((pattern) =>
  globSync(pattern, { cwd: installed }),
);

/** Returns the files of the package that `file` includes by name. */
async function includes(file: string): Promise<string[]> {
  const names = [...(await read(installed, file)).matchAll(/^\s*#\s*(?:include|import) "(.+)"/gm)].map(
    ([, name]) => name,
  );
  return names.map((name) => {
    const beside = normalize(join(dirname(file), name));
    return installedFiles.includes(beside) ? beside : name;
  });
}

/** Returns every file of the package that the compiler reads, found by following the includes. */
async function reached(): Promise<Set<string>> {
  const files = new Set(sources);
  for (const file of files) {
    for (const included of await includes(file)) files.add(included);
  }
  return files;
}

describe('the Swift package', () => {
  test('has the name that the Capacitor CLI expects, and so have its product and its target', () => {
    const names = [...manifest.matchAll(/^ +name: "(.+)",$/gm)].map(([, name]) => name);
    expect(names).toEqual(['KavrelCrypto', 'KavrelCrypto', 'KavrelCrypto']);
  });

  test('compiles exactly the sources that the phone runs', () => {
    expect(swiftSources.sort()).toEqual(sources);
  });

  test('points to files that are in the package', () => {
    const [publicHeaders] = quoted(manifest.match(/publicHeadersPath: (.+),/)?.[1]);
    const resources = quoted(manifest.match(/resources: \[(.+)\]/)?.[1]);
    expect(resources).toEqual(['ios/PrivacyInfo.xcprivacy']);
    expect(installedFiles).toEqual(expect.arrayContaining([`${publicHeaders}/module.modulemap`, ...resources]));
  });

  test('shows Swift the plugin class and no C++', async () => {
    const headers = quoted(await read(installed, 'ios/module.modulemap'));
    expect(headers).toEqual(['DigitalSignPlugin.h']);
    expect(await includes('ios/DigitalSignPlugin.h')).toEqual([]);
  });
});

describe('the pod', () => {
  test('has the name that the Capacitor CLI expects', () => {
    expect(quoted(podspec.match(/s\.name = (.+)/)?.[1])).toEqual(['KavrelCrypto']);
  });

  test('compiles exactly the sources that the phone runs', () => {
    expect(podFiles.filter(isSource).sort()).toEqual(sources);
  });

  test('holds every header that its sources include', async () => {
    expect(podFiles.filter(isHeader).sort()).toEqual([...(await reached())].filter(isHeader).sort());
  });

  test('points to files that are in the package', () => {
    const [publicHeader] = quoted(podspec.match(/public_header_files = (.+)/)?.[1]);
    const [, resource] = quoted(podspec.match(/resource_bundles = (.+)/)?.[1]);
    expect(installedFiles).toEqual(expect.arrayContaining([publicHeader, resource]));
  });
});

describe('the npm package', () => {
  test('is under 400 kB, most of which is the simulator', async () => {
    expect((await stat(inject('tarball'))).size).toBeLessThan(400_000);
  });

  test('holds what the builds of an app read and the documentation, and nothing else', async () => {
    const native = [...(await reached()), 'ios/PrivacyInfo.xcprivacy', 'ios/module.modulemap'];
    const modules = trackedFiles.flatMap((file) => file.match(/^js\/src\/([^/]+)\.ts$/)?.[1] ?? []);
    const javascript = modules.flatMap((name) => [`esm/${name}.d.ts`, `esm/${name}.js`]);
    const entries = ['simulator/index', 'simulator/ios', 'documents/index'];
    const bundles = entries.flatMap((entry) => ['cjs', 'd.cts', 'd.ts', 'js'].map((type) => `${entry}.${type}`));
    const ofDocuments = ['asn1.cjs', 'asn1.js', 'licences.md'].map((file) => `documents/${file}`);
    const ofSimulator = ['licences.md', 'wasm/component.js', 'wasm/package.json'].map((file) => `simulator/${file}`);
    const dist = [...javascript, 'plugin.cjs', 'plugin.d.cts', ...bundles, ...ofDocuments, ...ofSimulator].map(
      (file) => `js/dist/${file}`,
    );
    const folders = ['', 'documents/', 'simulator/', 'simulator/ios/'];
    const manifests = ['KavrelCrypto.podspec', 'Package.swift', ...folders.map((folder) => `${folder}package.json`)];
    const pages = ['CHANGELOG.md', 'README.md', ...trackedFiles.filter((file) => /^docs\/.*\.md$/.test(file))];
    expect(installedFiles).toEqual([...native, ...dist, ...manifests, ...pages].sort());
  });

  test('has the licence of everything that is bundled into it', async () => {
    const bundledIn = async (entry: string) =>
      [...(await read(installed, `js/dist/${entry}/licences.md`)).matchAll(/^## ([^ ,]+)/gm)].map(([, name]) => name);
    expect(await bundledIn('simulator')).toEqual(['asn1js', 'idb', 'pvtsutils', 'pvutils', 'Emscripten', 'musl']);
    expect(await bundledIn('documents')).toEqual([
      '@peculiar/asn1-cms',
      '@peculiar/asn1-schema',
      '@peculiar/asn1-x509-attr',
      '@peculiar/asn1-x509',
      '@peculiar/utils',
      'asn1js',
      'pvtsutils',
      'pvutils',
      'tslib',
    ]);
  });

  test('keeps to what publint knows of packages', async () => {
    const { messages, pkg } = await publint({ pkgDir: installed, pack: false });
    expect(messages.map((message) => formatMessage(message, pkg))).toEqual([]);
  });

  test('has right types for each entry, whichever way it is resolved and loaded', async () => {
    const attw = join(tree, 'node_modules/@arethetypeswrong/cli/dist/index.js');
    const report = run(process.execPath, [attw, '--format', 'ascii', '--no-color', inject('tarball')]);
    expect((await report.catch(({ stdout }) => ({ stdout }))).stdout).toContain('No problems found');
  });

  test('leads tools that know nothing of exports to the same files', async () => {
    const { name, exports } = JSON.parse(await read(installed, 'package.json'));
    const entries = Object.entries<Entry>(exports).filter(([entry]) => entry !== './package.json');
    expect(entries.length).toBeGreaterThan(2);
    for (const [entry, { import: module }] of entries) {
      const { found, path } = resolve(join(name, entry), join(inject('app'), 'main.js'), {});
      expect({ found, path }, entry).toEqual({ found: true, path: join(installed, module.default) });
    }
  });

  test('cannot be published by accident', async () => {
    const toNobody = [
      '--registry',
      'http://127.0.0.1:9',
      '--//127.0.0.1:9/:_authToken=nobody',
      '--fetch-retries',
      '0',
      '--loglevel',
      'error',
    ];
    const published = run('npm', ['publish', ...toNobody, inject('tarball')]);
    await expect(published).rejects.toThrow('EPRIVATE');
  });

  test('is locked without download addresses', async () => {
    expect(await read(tree, 'package-lock.json')).not.toMatch(/"resolved": "[\w+]+:/);
  });
});
