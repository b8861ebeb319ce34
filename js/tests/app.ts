import { execFile } from 'node:child_process';
import { mkdir, mkdtemp, readFile, rm, writeFile } from 'node:fs/promises';
import { createRequire } from 'node:module';
import { tmpdir } from 'node:os';
import { join, resolve } from 'node:path';
import { promisify } from 'node:util';
import type { TestProject } from 'vitest/node';

const require = createRequire(import.meta.url);

export const tree = resolve(import.meta.dirname, '../..');

export const run = promisify(execFile);

/** The files of the repository. */
export const trackedFiles = (await run('git', ['ls-files'], { cwd: tree })).stdout.trim().split('\n');

export const read = (...path: string[]): Promise<string> => readFile(join(...path), 'utf8');

declare module 'vitest' {
  export interface ProvidedContext {
    /** The folder of a fresh Capacitor app that has installed the packed package. */
    app: string;
    /** The packed package, as a path. */
    tarball: string;
  }
}

/** Packs the package and installs it in a fresh app: every test looks at what an app gets, never at the sources. */
export default async function setup(project: TestProject): Promise<() => Promise<void>> {
  const folder = await mkdtemp(join(tmpdir(), 'kavrel-crypto-'));
  const app = join(folder, 'app');
  const { name, version } = require(join(tree, 'package.json'));
  const tarball = join(folder, `${name}-${version}.tgz`);
  const installed = (dependency: string) => require(join(tree, 'node_modules', dependency, 'package.json')).version;

  await run('npm', ['pack', '--pack-destination', folder], { cwd: tree });
  await mkdir(app);
  await writeFile(
    join(app, 'package.json'),
    JSON.stringify({
      name: 'app',
      private: true,
      dependencies: {
        '@capacitor/cli': installed('@capacitor/cli'),
        '@capacitor/core': installed('@capacitor/core'),
        '@capacitor/ios': installed('@capacitor/ios'),
        [name]: `file:${tarball}`,
      },
    }),
  );
  await run('npm', ['install', '--prefer-offline', '--no-audit', '--no-fund'], { cwd: app });

  project.provide('app', app);
  project.provide('tarball', tarball);
  return () => rm(folder, { recursive: true });
}
