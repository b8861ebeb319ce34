import { mkdir, rm, writeFile } from 'node:fs/promises';
import { join } from 'node:path';
import { stripVTControlCharacters } from 'node:util';
import { beforeAll, describe, expect, inject, test } from 'vitest';

import { read, run, tree } from './app.js';

const { version } = JSON.parse(await read(tree, 'package.json'));

/** Runs the Capacitor CLI of an app in it and returns all that it prints. */
async function cap(app: string, ...args: string[]): Promise<string> {
  const cli = join(app, 'node_modules/@capacitor/cli/bin/capacitor');
  const command = run(process.execPath, [cli, ...args], { cwd: app });
  const { stdout, stderr } = await command.catch(({ stdout, stderr }) => {
    throw new Error(`cap ${args.join(' ')} failed:\n${stdout}${stderr}`);
  });
  return stripVTControlCharacters(stdout + stderr);
}

/** Makes an app with the last Capacitor before the project's own, and returns its folder. */
async function appOfCapacitor7(): Promise<string> {
  const folder = join(inject('app'), '../app-of-capacitor-7');
  await mkdir(folder);
  await writeFile(join(folder, 'package.json'), JSON.stringify({ name: 'app', private: true }));
  const packages = ['@capacitor/cli@7', '@capacitor/core@7', '@capacitor/ios@7', inject('tarball')];
  await run('npm', ['install', '--prefer-offline', '--no-audit', '--no-fund', ...packages], { cwd: folder });
  return folder;
}

const apps = { 7: await appOfCapacitor7(), 8: inject('app') };

beforeAll(async () => {
  for (const app of Object.values(apps)) await cap(app, 'init', 'App', 'com.example.app', '--web-dir', 'www');
});

const packageManagers = [
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
] as const;

describe.each(
  Object.entries(apps).flatMap(([release, app]) =>
    packageManagers.map((manager) => [release, app, ...manager] as const),
  ),
)('a fresh app of Capacitor %s in %s that uses %s', (_release, app, _name, packagemanager, manifest, entries) => {
  let printed: string;

  beforeAll(async () => {
    await rm(join(app, 'ios'), { recursive: true, force: true });
    await rm(join(app, 'www'), { recursive: true, force: true });
    await cap(app, 'add', 'ios', '--packagemanager', packagemanager);
    // Made only now, because with web files in place release 7 also syncs when it adds, as if for CocoaPods.
    await mkdir(join(app, 'www'));
    await writeFile(join(app, 'www/index.html'), '<!doctype html><title>App</title>');
    printed = await cap(app, 'sync', 'ios');
  });

  test('finds the plugin when it is synced', () => {
    expect(printed.replace(/\s+/g, ' ')).toContain(`Found 1 Capacitor plugin for ios: kavrel-crypto@${version}`);
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
