// Runs the benchmarks group by group, each one's repetitions among those of the others of its group, and writes
// build/bench/results.json and docs/performance.md.

import { execFileSync, spawnSync } from 'node:child_process';
import { createHash } from 'node:crypto';
import { mkdirSync, readFileSync, writeFileSync } from 'node:fs';
import { cpus, release, totalmem } from 'node:os';
import { join, resolve } from 'node:path';
import { pathToFileURL } from 'node:url';

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

const listOf = (program) => output(program, '--benchmark_list_tests');

/** Runs a group of a program's benchmarks. Returns the results of all their repetitions. */
function run(program, group, ...options) {
  const json = output(program, `--benchmark_filter=^${group}/`, '--benchmark_format=json', ...options);
  return JSON.parse(json).benchmarks.filter((result) => result.run_type === 'iteration');
}

/** Measures a group. Returns a row for each benchmark: nanoseconds as medians, allocations, and most bytes held. */
function measure(program, group, names) {
  const turns = [
    '--benchmark_min_time=0.005',
    `--benchmark_repetitions=${repetitions}`,
    '--benchmark_enable_random_interleaving',
  ];
  const results = run(program, group, ...turns);
  const once = run(program, group, '--benchmark_min_time=0.001'); // repeated, Google Benchmark mixes up the memory
  return names.map((name) => {
    const timed = results.filter((result) => result.run_name === name);
    const { allocs_per_iter: allocations = 0, max_bytes_used: mostBytes = 0 } = once.find(
      (result) => result.run_name === name,
    );
    const processorTime = median(timed.map((result) => result.cpu_time));
    const realTime = median(timed.map((result) => result.real_time));
    return {
      ...partsOf(name),
      time: name.includes('/real_time') ? realTime : processorTime,
      processorTime,
      perSecond: median(timed.map((result) => result.items_per_second ?? 0)),
      allocations: Math.floor(allocations),
      mostBytes,
    };
  });
}

const programs = ['component_benchmarks', 'desktop_benchmarks'].map((name) => join(build, 'bench', name));

function measureAll() {
  const rows = [];
  for (const program of programs) {
    const names = listOf(program).trim().split('\n');
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

/** Returns the milliseconds that programs take from start to end, as medians over starts in turn. */
function measureStarts() {
  process.stderr.write('   starts\n');
  const device = join(folder, 'device');
  const commands = {
    'kavrel --help': [join(build, 'kavrel'), '--help'],
    'kavrel call hasKey': [
      join(build, 'kavrel'),
      '--device',
      device,
      'call',
      'hasKey',
      '{"nationalCode":"0012345678"}',
    ],
    'openssl version': ['openssl', 'version'],
  };
  const times = Object.fromEntries(Object.keys(commands).map((name) => [name, []]));
  for (let round = 0; round < 3 * repetitions; ++round) {
    for (const [name, [program, ...args]] of Object.entries(commands)) {
      const begin = performance.now();
      if (spawnSync(program, args).status !== 0) {
        throw new Error(`${name} failed`);
      }
      times[name].push(performance.now() - begin);
    }
  }
  return Object.entries(times).map(([name, values]) => ({ name, milliseconds: median(values) }));
}

/** Returns the milliseconds of calls on the WebAssembly in Node.js, beside what WebCrypto takes for a signature there. */
async function measureWebAssembly() {
  process.stderr.write('   the WebAssembly\n');
  const { startSimulator } = await import(pathToFileURL(join(root, 'js/dist/simulator/index.js')));
  const phone = await startSimulator({ storage: 'memory', prompts: 'match' });
  const nationalCode = '0012345678';
  const members = ['identificationId', 'name', 'lastName', 'enName', 'enLastName', 'postalCode', 'phoneNumber',
    'birthCertificateId', 'birthDate', 'city', 'provinceName', 'gender', 'citizenship']; // prettier-ignore
  const userInfo = { nationalCode, ...Object.fromEntries(members.map((member) => [member, 'Shiraz'])) };
  await phone.call('ensureKey', { nationalCode });
  const { privateKey } = await crypto.subtle.generateKey(
    { name: 'RSASSA-PKCS1-v1_5', modulusLength: 2048, publicExponent: new Uint8Array([1, 0, 1]), hash: 'SHA-256' }, false, ['sign']); // prettier-ignore
  const certPem = 'A'.repeat(4 * Math.ceil(2 ** 20 / 3));
  const work = {
    'one signature, by WebCrypto alone': () => crypto.subtle.sign('RSASSA-PKCS1-v1_5', privateKey, new Uint8Array(32)),
    hasKey: () => phone.call('hasKey', { nationalCode }),
    createCSR: () => phone.call('createCSR', { userInfo }),
    signDigest: () => phone.call('signDigest', { nationalCode, digestB64: 'AAAA' }),
    'storeCertificate, 1 MiB': () => phone.call('storeCertificate', { nationalCode, certPem }).catch(() => {}),
  };
  const times = Object.fromEntries(Object.keys(work).map((name) => [name, []]));
  for (let round = 0; round < 10 * repetitions; ++round) {
    for (const [name, act] of Object.entries(work)) {
      const begin = performance.now();
      await act();
      times[name].push(performance.now() - begin);
    }
  }
  await phone.stop();
  return Object.entries(times).map(([name, values]) => ({ name, milliseconds: median(values) }));
}

const versionOf = (package_) => output('dpkg-query', '--show', '--showformat=${Version}', package_);

const measured = {
  repetitions,
  benchmarks: createHash('sha256').update(programs.map(listOf).join('')).digest('hex'),
  machine: {
    processor: `${cpus().length} × ${cpus()[0].model.trim()}`,
    memory: `${Math.round(totalmem() / 2 ** 30)} GiB`,
    system: `${readFileSync('/etc/os-release', 'utf8').match(/^PRETTY_NAME="(.*)"$/m)[1]}, Linux ${release()}`,
    compiler: `${output('g++', '--version').split('\n')[0]}, the flags of the release preset`,
    libraries: [
      ['OpenSSL', 'libssl-dev'],
      ['GnuTLS', 'libgnutls28-dev'],
      ['Botan', 'libbotan-2-dev'],
      ['mbed TLS', 'libmbedtls-dev'],
      ['GLib', 'libglib2.0-dev'],
      ['SQLite', 'libsqlite3-dev'],
    ].map(([name, package_]) => `${name} ${versionOf(package_)}`),
    node: process.version,
    loadBefore: readFileSync('/proc/loadavg', 'utf8').split(' ')[0],
  },
  rows: measureAll(),
  starts: measureStarts(),
  webAssembly: await measureWebAssembly(),
  arm: output('script/size').trim().split('\n').at(-1).trim().split(/\s+/).slice(0, 3).map(Number),
};

mkdirSync(folder, { recursive: true });
writeFileSync(join(folder, 'results.json'), `${JSON.stringify(measured, null, 2)}\n`);
const text = page(measured);
writeFileSync(join(root, 'docs/performance.md'), text);
process.stdout.write(text);
process.exit(0);
