// Runs the benchmarks group by group, each one's repetitions among those of the others of its group, and writes
// build/bench/results.json and docs/performance.md.

import { execFileSync } from 'node:child_process';
import { mkdirSync, readFileSync, writeFileSync } from 'node:fs';
import { cpus, release, totalmem } from 'node:os';
import { join, resolve } from 'node:path';

import { page } from './page.mjs';

const root = resolve(import.meta.dirname, '..');
const repetitions = Number(process.argv[2] ?? 101);
const build = join(root, 'build/release');
const folder = join(root, 'build/bench');

const median = (values) => values.toSorted((a, b) => a - b)[Math.floor(values.length / 2)];
const output = (program, ...args) => execFileSync(program, args, { cwd: root, encoding: 'utf8', maxBuffer: 2 ** 28 });

/** Takes "GROUP/CASE/WHO" apart; Google Benchmark appends how it measured. */
const partsOf = (name) => {
  const [group, work, who] = name.split('/');
  return { group, work, who };
};

/** Measures a group. Returns a row for each benchmark: nanoseconds, as medians. */
function measure(program, group, names) {
  const json = output(
    program,
    `--benchmark_filter=^${group}/`,
    '--benchmark_format=json',
    '--benchmark_min_time=0.005',
    `--benchmark_repetitions=${repetitions}`,
    '--benchmark_enable_random_interleaving',
  );
  const results = JSON.parse(json).benchmarks.filter((result) => result.run_type === 'iteration');
  return names.map((name) => {
    const timed = results.filter((result) => result.run_name === name);
    const processorTime = median(timed.map((result) => result.cpu_time));
    const realTime = median(timed.map((result) => result.real_time));
    return {
      ...partsOf(name),
      time: name.includes('/real_time') ? realTime : processorTime,
      processorTime,
    };
  });
}

const programs = ['component_benchmarks', 'desktop_benchmarks'].map((name) => join(build, 'bench', name));

function measureAll() {
  const rows = [];
  for (const program of programs) {
    const names = output(program, '--benchmark_list_tests').trim().split('\n');
    for (const group of new Set(names.map((name) => partsOf(name).group))) {
      process.stderr.write(`   ${group}\n`);
      rows.push(
        ...measure(
          program,
          group,
          names.filter((name) => partsOf(name).group === group),
        ),
      );
    }
  }
  return rows;
}

const versionOf = (package_) => output('dpkg-query', '--show', '--showformat=${Version}', package_);

const measured = {
  repetitions,
  machine: {
    processor: `${cpus().length} × ${cpus()[0].model.trim()}`,
    memory: `${Math.round(totalmem() / 2 ** 30)} GiB`,
    system: `${readFileSync('/etc/os-release', 'utf8').match(/^PRETTY_NAME="(.*)"$/m)[1]}, Linux ${release()}`,
    compiler: `${output('g++', '--version').split('\n')[0]}, the flags of the release preset`,
    libraries: [
      ['OpenSSL', 'libssl-dev'],
      ['mbed TLS', 'libmbedtls-dev'],
      ['GLib', 'libglib2.0-dev'],
      ['SQLite', 'libsqlite3-dev'],
    ].map(([name, package_]) => `${name} ${versionOf(package_)}`),
    loadBefore: readFileSync('/proc/loadavg', 'utf8').split(' ')[0],
  },
  rows: measureAll(),
  arm: output('script/size').trim().split('\n').at(-1).trim().split(/\s+/).slice(0, 3).map(Number),
};

mkdirSync(folder, { recursive: true });
writeFileSync(join(folder, 'results.json'), `${JSON.stringify(measured, null, 2)}\n`);
const text = page(measured);
writeFileSync(join(root, 'docs/performance.md'), text);
process.stdout.write(text);
