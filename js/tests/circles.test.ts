import { readFile } from 'node:fs/promises';
import { join, resolve } from 'node:path';
import { glob } from 'tinyglobby';
import ts from 'typescript';
import { expect, test } from 'vitest';

const sources = resolve(import.meta.dirname, '../src');

/** Returns the modules of the package that `file` imports, be it only a type. */
async function importsOf(file: string): Promise<string[]> {
  const { importedFiles } = ts.preProcessFile(await readFile(file, 'utf8'));
  const relative = importedFiles.map(({ fileName }) => fileName).filter((name) => name.endsWith('.js'));
  return relative.map((name) => join(file, '..', name.replace(/\.js$/, '.ts')));
}

test('modules do not import one another in a circle', async () => {
  const files = await glob('**/*.ts', { cwd: sources, absolute: true });
  const left = new Map(await Promise.all(files.map(async (file) => [file, await importsOf(file)] as const)));
  // What imports nothing that is left is in no circle.
  const isFree = (file: string) => !left.get(file)!.some((imported) => left.has(imported));
  for (let free: string[]; (free = [...left.keys()].filter(isFree)).length > 0;)
    free.forEach((file) => left.delete(file));
  expect([...left.keys()]).toEqual([]);
});
