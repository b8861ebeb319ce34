// Tries the set-ups of the documentation in fresh apps from the npm registry, and prints a table of how they went.
//
//   run.mjs PACKAGE [--cheap | NAME…]     PACKAGE is the packed npm package, NAME a part of a set-up's name

import { mkdtempSync, rmSync } from 'node:fs';
import { copyFile, cp, mkdir, readFile, rm, writeFile } from 'node:fs/promises';
import { tmpdir } from 'node:os';
import { basename, dirname, join, resolve } from 'node:path';

import { blocksOf } from './blocks.mjs';
import { installForPlaywright, offerChromium } from './browser.mjs';
import { environment, run, serving } from './commands.mjs';
import { lookForSimulator, signWithMatch } from './page.mjs';
import { stacks } from './stacks.mjs';

const docs = resolve(import.meta.dirname, '../../docs');
const apps = resolve(import.meta.dirname, 'apps');

const work = mkdtempSync(join(tmpdir(), 'kavrel-crypto-stacks-'));
process.on('exit', () => rmSync(work, { recursive: true, force: true, maxRetries: 3 }));
for (const signal of ['SIGINT', 'SIGTERM', 'SIGHUP']) process.on(signal, () => process.exit(1));

const browsers = join(work, 'browsers');
Object.assign(environment, await offerChromium(browsers));

const blocksIn = (page) => blocksOf(join(docs, page));

const signing = (await blocksIn('develop-without-a-phone.md')).filter(({ name }) => name === 'src/sign.ts');

/** The blocks of a page before its first heading, and under the headings that are named. */
async function blocksUnder(page, headings) {
  const blocks = await blocksIn(page);
  const absent = headings.filter((heading) => !blocks.some(({ section }) => section === heading));
  if (absent.length) throw new Error(`docs/${page} has no code under "${absent.join('", "')}".`);
  return blocks.filter(({ section }) => section === '' || headings.includes(section));
}

async function write(file, content) {
  await mkdir(dirname(file), { recursive: true });
  await writeFile(file, content);
}

/** Makes the app of a set-up and does in it what the pages say. Returns what their commands print. */
async function follow(stack, app) {
  const blocks = (await Promise.all(stack.follows.map(([page, ...headings]) => blocksUnder(page, headings)))).flat();
  await run(stack.create ?? blocks.shift().code, dirname(app));
  for (const name of ['shared', ...(stack.apps ?? [])]) await cp(join(apps, name), app, { recursive: true });
  let printed = '';
  for (const { name, code } of [...signing, ...blocks]) {
    if (name === 'sh') {
      await installForPlaywright(browsers, app);
      printed += await run(code, app);
    } else await write(join(app, name), code);
  }
  return printed;
}

async function versionsIn(app, packages) {
  const versions = packages.map(async (name) => {
    const { version } = JSON.parse(await readFile(join(app, 'node_modules', name, 'package.json'), 'utf8'));
    return `${name} ${version}`;
  });
  return (await Promise.all(versions)).join(', ');
}

/** Tries a set-up. Returns its row of the table; what fails is told on the console. */
async function attempt(stack, tarball) {
  const folder = join(work, String(stacks.indexOf(stack)));
  const app = join(folder, 'app');
  const row = { versions: '', page: '', build: '', tests: '' };
  let column = stack.passes ? 'tests' : 'page';
  try {
    await mkdir(folder);
    await copyFile(tarball, join(folder, basename(tarball)));
    const printed = await follow(stack, app);
    row.versions = await versionsIn(app, stack.shows);
    if (stack.passes) {
      if (!stack.passes.test(printed)) throw new Error(`The tests do not say ${stack.passes}:\n${printed}`);
      row.tests = 'yes';
    }
    if (stack.serve) {
      column = 'page';
      await serving(stack.serve, app, signWithMatch);
      row.page = 'yes';
    }
    if (stack.build) {
      column = 'build';
      await run(stack.build, app);
      await lookForSimulator(join(app, stack.out));
      row.build = 'none';
    }
  } catch (error) {
    row[column] = 'FAILS';
    console.error(`\n${error.message}\n`);
    process.exitCode = 1;
  }
  await rm(folder, { recursive: true, maxRetries: 3 });
  return row;
}

const [tarball, ...wanted] = process.argv.slice(2);
const isWanted = ({ name, cheap }) =>
  !wanted.length ||
  wanted.some((part) => (part === '--cheap' ? cheap : name.toLowerCase().includes(part.toLowerCase())));
const chosen = stacks.filter(isWanted);
if (!chosen.length) {
  console.error(`script/stacks: no set-up is called that: ${stacks.map(({ name }) => name).join(', ')}.`);
  process.exit(2);
}

console.log('| set-up | tried with | a person signs in its page | simulator in its build | its tests pass |');
console.log('| --- | --- | --- | --- | --- |');
for (const [index, stack] of chosen.entries()) {
  const { name, follows, untried } = stack;
  if (untried) {
    console.log(`| ${name} | not tried: ${untried} | | | |`);
    continue;
  }
  const began = Date.now();
  process.stderr.write(`[${index + 1}/${chosen.length}] ${name}\n`);
  const { versions, page, build, tests } = await attempt(stack, resolve(tarball));
  process.stderr.write(`   (${Math.round((Date.now() - began) / 1000)} s)\n`);
  console.log(
    `| [${name}](${follows.at(-1)[0]}) | ${versions} | ${page} | ${build} | ${tests} |`.replaceAll('  |', ' |'),
  );
}
