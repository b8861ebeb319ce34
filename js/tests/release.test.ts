import { cp, mkdtemp, readFile, rm, symlink, writeFile } from 'node:fs/promises';
import { tmpdir } from 'node:os';
import { basename, join } from 'node:path';
import { afterAll, beforeAll, describe, expect, inject, test } from 'vitest';

import { read, run, trackedFiles, tree } from './app.js';

const { version } = JSON.parse(await read(tree, 'package.json')) as { version: string };

test('every file that has the version has the same one', async () => {
  expect(JSON.parse(await read(tree, 'package-lock.json'))).toMatchObject({ version, packages: { '': { version } } });
  expect(await read(tree, 'CMakeLists.txt')).toContain(`project(KavrelCrypto VERSION ${version} `);
  expect((await read(tree, 'CHANGELOG.md')).match(/^## (.+)$/m)?.[1]).toBe(version);
  for (const page of trackedFiles.filter((file) => /^(README|docs\/.+)\.md$/.test(file))) {
    const named = [...(await read(tree, page)).matchAll(/kavrel-crypto-(\d[\d.]*\d)/g)].map(([, named]) => named);
    expect(new Set([...named, version]), page).toEqual(new Set([version]));
  }
});

describe('script/release', () => {
  const package_ = `kavrel-crypto-${version}.tgz`;
  let folder: string;
  let clone: string;

  const git = (...args: string[]) =>
    run('git', ['-c', 'user.name=Test', '-c', 'user.email=test@localhost', ...args], { cwd: clone });
  const release = () => run('script/release', [], { cwd: clone });

  /** A repository of what is in the tree, readable for its owner alone, in a folder that is called otherwise. */
  beforeAll(async () => {
    folder = await mkdtemp(join(tmpdir(), 'kavrel-release-'));
    clone = join(folder, 'another folder');
    const { stdout } = await run('git', ['ls-files', '-z', '--cached', '--others', '--exclude-standard'], {
      cwd: tree,
    });
    for (const file of stdout.split('\0').filter(Boolean)) {
      await cp(join(tree, file), join(clone, file), { preserveTimestamps: true }).catch((error) => {
        if (error.code !== 'ENOENT') throw error; // removed, and not yet committed
      });
    }
    await run('chmod', ['-R', 'go-rwx', clone]);
    await git('init', '--quiet');
    await symlink(join(tree, 'node_modules'), join(clone, 'node_modules'));
    await writeFile(join(clone, '.git/info/exclude'), 'node_modules\n');
    await git('add', '.');
    await git('commit', '--quiet', '--message', 'All of it');
  });
  afterAll(() => rm(folder, { recursive: true }));

  /** Expects it to end without a package, and to say why in one line. */
  async function expectRefusal(reason: string) {
    const { code, stdout, stderr } = await release().catch((error) => error);
    expect({ code, stdout, stderr }).toEqual({ code: 1, stdout: '', stderr: expect.stringContaining(reason) });
    expect(stderr.trimEnd().split('\n')).toHaveLength(1);
  }

  test('refuses a tree in which something is not committed', async () => {
    const page = join(clone, 'docs/new.md');
    await writeFile(page, 'Not committed\n');
    await expectRefusal('commit or remove it');
    await rm(page);
  });

  test('refuses a version that the change log does not know', async () => {
    const log = join(clone, 'CHANGELOG.md');
    await writeFile(log, (await readFile(log, 'utf8')).replace(`## ${version}\n`, `## ${version}.1\n`));
    await git('commit', '--quiet', '--all', '--message', 'Another version');
    await expectRefusal(`"## ${version}"`);
    await git('reset', '--quiet', '--hard', 'HEAD^');
  });

  test('makes the same bytes in another folder and under another umask', { timeout: 600_000 }, async () => {
    await run('sh', ['-c', 'umask 077 && script/release'], { cwd: clone });
    const released = await readFile(join(clone, package_));
    expect(basename(inject('tarball'))).toBe(package_);
    expect(released.equals(await readFile(inject('tarball'))), 'compare them with "tar --list --verbose"').toBe(true);
    await run('sha256sum', ['--check', `${package_}.sha256`], { cwd: clone });
  });
});
