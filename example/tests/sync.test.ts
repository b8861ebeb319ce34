import { execFile } from 'node:child_process';
import { cp, mkdtemp, readFile, readdir, rm, symlink } from 'node:fs/promises';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { promisify } from 'node:util';
import { parse } from 'plist';
import { expect, test } from 'vitest';

const run = promisify(execFile);
const example = new URL('..', import.meta.url).pathname;
const notCopied = ['node_modules', 'ios', 'dist'];

test('cap add and cap sync make an app for the plugin’s oldest iOS that says why it asks for Face ID', async () => {
  const folder = await mkdtemp(join(tmpdir(), 'kavrel-example-'));
  try {
    const app = join(folder, 'example');
    await cp(example, app, { recursive: true, filter: (file) => !notCopied.some((name) => file.endsWith(`/${name}`)) });
    // The workspace's packages lie beside the example and above it.
    await symlink(join(example, 'node_modules'), join(app, 'node_modules'));
    await symlink(join(example, '../node_modules'), join(folder, 'node_modules'));
    await symlink(join(example, '../conformance'), join(folder, 'conformance'));
    const cap = (...args: string[]): Promise<unknown> =>
      run(process.execPath, [join(example, '../node_modules/@capacitor/cli/bin/capacitor'), ...args], { cwd: app });
    await cap('add', 'ios', '--packagemanager', 'SPM');
    const env = { ...process.env, NODE_ENV: 'production' }; // the tests' own environment is another
    await run(process.execPath, [join(example, '../node_modules/vite/bin/vite.js'), 'build'], { cwd: app, env });
    await cap('sync', 'ios');
    await cap('sync', 'ios'); // a second time changes nothing

    const plist = await readFile(join(app, 'ios/App/App/Info.plist'), 'utf8');
    const entries = parse(plist) as Record<string, unknown>;
    expect(entries.NSFaceIDUsageDescription).toBe('Confirms that it is you who signs.');
    expect(entries.CFBundleDisplayName).toBe('Sign');
    expect(plist.match(/NSFaceIDUsageDescription/g)).toHaveLength(1);
    const { packageClassList } = JSON.parse(await readFile(join(app, 'ios/App/App/capacitor.config.json'), 'utf8'));
    expect(packageClassList).toEqual(['DigitalSignPlugin']);
    expect(await readFile(join(app, 'ios/App/App/public/index.html'), 'utf8')).toContain('Enrol and sign');
    const assets = join(app, 'ios/App/App/public/assets');
    const hasSimulator = async (file: string): Promise<boolean> =>
      (await readFile(join(assets, file), 'utf8')).includes('kavrel-crypto simulator');
    expect(await Promise.all((await readdir(assets)).map(hasSimulator))).not.toContain(true);

    const project = await readFile(join(app, 'ios/App/App.xcodeproj/project.pbxproj'), 'utf8');
    const targets = [...project.matchAll(/IPHONEOS_DEPLOYMENT_TARGET = (\d+)\.0;/g)].map(([, release]) => release);
    const [, oldest] = (await readFile(join(example, '../Package.swift'), 'utf8')).match(/\.iOS\(\.v(\d+)\)/) ?? [];
    expect(new Set(targets)).toEqual(new Set([oldest]));
  } finally {
    await rm(folder, { recursive: true });
  }
});
