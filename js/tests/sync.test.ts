import { mkdir, rm, writeFile } from 'node:fs/promises';
import { join } from 'node:path';
import { stripVTControlCharacters } from 'node:util';
import { beforeAll, describe, expect, inject, test } from 'vitest';

import { read, run, tree } from './app.js';

const app = inject('app');

/** Runs the Capacitor CLI in the app and returns all that it prints. */
async function cap(...args: string[]): Promise<string> {
  const cli = join(app, 'node_modules/@capacitor/cli/bin/capacitor');
  const command = run(process.execPath, [cli, ...args], { cwd: app });
  const { stdout, stderr } = await command.catch(({ stdout, stderr }) => {
    throw new Error(`cap ${args.join(' ')} failed:\n${stdout}${stderr}`);
  });
  return stripVTControlCharacters(stdout + stderr);
}

beforeAll(() => cap('init', 'App', 'com.example.app', '--web-dir', 'www'));

describe.each([
  [
    'Swift package manager',
    'SPM',
    'ios/App/CapApp-SPM/Package.swift',
    [
      '.package(name: "KavrelCrypto", path: "../../../node_modules/kavrel-crypto")',
      '.product(name: "KavrelCrypto", package: "KavrelCrypto")',
    ],
  ],
  ['CocoaPods', 'CocoaPods', 'ios/App/Podfile', [`pod 'KavrelCrypto', :path => '../../node_modules/kavrel-crypto'`]],
])('a fresh app that uses %s', (_, packagemanager, manifest, entries) => {
  let printed: string;

  beforeAll(async () => {
    await rm(join(app, 'ios'), { recursive: true, force: true });
    await rm(join(app, 'www'), { recursive: true, force: true });
    await cap('add', 'ios', '--packagemanager', packagemanager);
    // Made only now, because with web files in place this CLI also syncs when it adds, as if for CocoaPods.
    await mkdir(join(app, 'www'));
    await writeFile(join(app, 'www/index.html'), '<!doctype html><title>App</title>');
    printed = await cap('sync', 'ios');
  });

  test('finds the plugin when it is synced', () => {
    expect(printed).toMatch(/Found 1 Capacitor plugin for ios:\s+kavrel-crypto@1\.0\.0/);
  });

  test('is synced without a warning, except about what this machine lacks', () => {
    const warnings = printed.split('\n').filter((line) => /\[(warn|error)\]/.test(line));
    expect(warnings.filter((line) => !/CocoaPods is not installed|xcodebuild/.test(line))).toEqual([]);
  });

  test('names the class for the runtime to load', async () => {
    const { packageClassList } = JSON.parse(await read(app, 'ios/App/App/capacitor.config.json'));
    expect(packageClassList).toEqual(['DigitalSignPlugin']);
  });

  test.each(entries)('lists the native package: %s', async (entry) => {
    expect(await read(app, manifest)).toContain(entry);
  });

  test('leaves the package as it was packed', async () => {
    expect(await read(app, 'node_modules/kavrel-crypto/Package.swift')).toBe(await read(tree, 'Package.swift'));
  });
});
