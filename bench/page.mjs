// Makes docs/performance.md of what report.mjs measured. Every figure in it comes from there.

const info = 'CertificationRequestInfo';
const encoding = 'base64, encoding';
const decoding = 'base64, decoding';
const certificate = 'certificate string to bytes';
const share = "the component's own share";
const desktop = 'a call on the desktop device';
const persons = 'hasKey, by the number of persons';

const units = [
  [1e9, 's'],
  [1e6, 'ms'],
  [1e3, 'µs'],
  [1, 'ns'],
];

const digits = (value) => (value >= 99.5 ? value.toFixed(0) : value >= 9.95 ? value.toFixed(1) : value.toFixed(2));
const count = (value) => Number(value).toLocaleString('en');
const times = (ratio) => `${digits(ratio)} ×`;

function duration(nanoseconds) {
  const [size, name] = units.find(([each]) => nanoseconds >= each) ?? units.at(-1);
  return `${digits(nanoseconds / size)} ${name}`;
}

function table(head, rows) {
  const line = (cells) => `| ${cells.join(' | ')} |`;
  return [line(head), line(head.map((_, index) => (index === 0 ? '---' : '---:'))), ...rows.map(line)].join('\n');
}

/** What was measured of the benchmarks: a row for each one, in nanoseconds. */
class Rows {
  constructor(rows) {
    this.rows = rows;
  }
  of(group) {
    return this.rows.filter((row) => row.group === group);
  }
  works(group) {
    return [...new Set(this.of(group).map(({ work }) => work))];
  }
  find(group, work, who = 'KavrelCrypto') {
    return this.rows.find((row) => row.group === group && row.work === work && row.who === who);
  }
  time(group, work, who) {
    return this.find(group, work, who).time;
  }
  fastestPeer(group, work) {
    const peers = this.of(group).filter((row) => row.work === work && row.who !== 'KavrelCrypto');
    return Math.min(...peers.map(({ time }) => time));
  }
  /** How many times as long as the fastest peer the component takes, where it does worst. */
  worst(group) {
    return Math.max(...this.works(group).map((work) => this.time(group, work) / this.fastestPeer(group, work)));
  }
  /** The plugin's methods of which the component's own share was measured. */
  calls() {
    return this.works(share).filter((work) => this.find(share, work));
  }
  signature() {
    return this.time(share, 'one RSA signature', 'OpenSSL');
  }
}

function targets(rows) {
  const line = (what, limit, value, isMet) => [what, limit, value, isMet ? 'yes' : '**no**'];
  const atMost = (what, limit, value) => line(what, `at most ${times(limit)}`, times(value), value <= limit);
  const person = rows.works(info)[0];
  const openSSL = rows.time(info, person, 'OpenSSL') / rows.time(info, person);
  const fastest = rows.fastestPeer(info, person) / rows.time(info, person);
  const largestShare = Math.max(...rows.calls().map((work) => rows.time(share, work))) / rows.signature();
  const onDesktop = (work) => rows.time(desktop, work) / rows.time(desktop, work, 'OpenSSL');
  const counts = rows.works(persons);
  const growth = Math.max(...counts.map((work) => rows.time(persons, work))) / rows.time(persons, counts[0]);
  return table(
    ['', 'target', 'measured', 'met'],
    [
      line(`${info}: OpenSSL’s fastest way, relative to the component`, 'at least 20 ×', times(openSSL), openSSL >= 20),
      line(`${info}: the fastest peer, relative to the component`, 'more than 1 ×', times(fastest), fastest > 1),
      atMost('base64, encoding: relative to the fastest peer, at the worst size', 1.05, rows.worst(encoding)),
      atMost('base64, decoding: relative to the fastest peer, at the worst size', 1.05, rows.worst(decoding)),
      atMost('certificate string to bytes: relative to OpenSSL, at the worst size', 1.05, rows.worst(certificate)),
      line(
        'the component’s own share of any call, relative to one RSA signature',
        'at most 2 %',
        `${digits(100 * largestShare)} %`,
        largestShare <= 0.02,
      ),
      atMost('`createCSR` on the desktop device, relative to OpenSSL doing the same', 1.25, onDesktop('createCSR')),
      atMost('`signDigest` on the desktop device, relative to OpenSSL doing the same', 1.25, onDesktop('signDigest')),
      atMost(`\`hasKey\` among ${count(counts.at(-1))} persons, relative to ${counts[0]}`, 1.5, growth),
    ],
  );
}

/** A table of a group with a column for each contender. */
function compared(rows, group, title = '') {
  const names = [...new Set(rows.of(group).map(({ who }) => who))];
  const cell = (work, who) => {
    const ours = rows.time(group, work);
    const time = rows.time(group, work, who);
    return who === 'KavrelCrypto' ? duration(time) : `${duration(time)} (${times(time / ours)})`;
  };
  return table(
    [title, ...names],
    rows.works(group).map((work) => [work, ...names.map((who) => cell(work, who))]),
  );
}

function requestInfo(rows) {
  const ours = rows.time(info, rows.works(info)[0]);
  return table(
    ['', 'time', 'relative to the component'],
    rows.of(info).map(({ who, time }) => [who, duration(time), times(time / ours)]),
  );
}

function ownShare(rows) {
  return table(
    ['', 'time', 'of a signature'],
    rows.calls().map((work) => {
      const time = rows.time(share, work);
      return [`\`${work}\``, duration(time), `${((100 * time) / rows.signature()).toFixed(2)} %`];
    }),
  );
}

function processorTimes(rows) {
  const of = (work, who) => duration(rows.find(desktop, work, who).processorTime);
  return rows
    .works(desktop)
    .map((work) => `\`${work}\` ${of(work)}, OpenSSL ${of(work, 'OpenSSL')}`)
    .join('; ');
}

export function page({ repetitions, machine, rows: measured, arm }) {
  const rows = new Rows(measured);
  const [text, data] = arm;
  return `# Performance

\`script/bench\` measured what stands here and wrote this page. Run it again instead of editing the page, on a machine that does nothing else.

- Processor: ${machine.processor}, with ${machine.memory} of memory. System: ${machine.system}. Load average when it began: ${machine.loadBefore}.
- Compiler: ${machine.compiler}.
- Peers: ${machine.libraries.join(', ')}.
- Each figure is the median of ${repetitions} repetitions. Those of the component and of its peers take turns at random, so that whatever else the
  machine does falls on all of them alike. Before they are timed, their results have to be equal.
- The figure in parentheses says how many times as long as the component a peer takes.

## Targets

${targets(rows)}

The component is level with a peer if it takes at most 5 % longer, by which two runs may differ.

## The CertificationRequestInfo of a person

It is written in DER, from the person's strings and the PKCS #1 public key.

${requestInfo(rows)}

- OpenSSL takes the public key by \`X509_PUBKEY_set0_param\`, which is its fastest way, and writes with \`i2d_re_X509_REQ_tbs\`. If it is given a
  key object, it encodes that one anew.
- mbed TLS has no function for the part that is signed. It is put together with its writers, and the key's bytes are copied.

## Base64

${compared(rows, encoding, 'encoding')}

${compared(rows, decoding, 'decoding')}

mbed TLS is left out: its base64 takes the same time for all characters, because what is decoded may be a secret key. The component's is
public.

## From the string of a certificate to its bytes

${compared(rows, certificate)}

The component removes the markers and the white space, then decodes. OpenSSL's \`EVP_DecodeUpdate\` is told where the lines are.

## The component's own share of a call

The device answers from memory. One RSA signature of 2,048 bits takes ${duration(rows.signature())}.

${ownShare(rows)}

## Calls on the desktop device

OpenSSL decodes the same stored key and returns the same string. For \`createCSR\` it also writes the request and verifies the signature.

${compared(rows, desktop)}

The processor time of all threads: ${processorTimes(rows)}.

The device keeps no private key in memory between two calls, because a key that has been deleted, or that is out of reach while the device is
locked, must not sign.

## Growth

${table(
  ['persons in the keychain', '`hasKey` on the desktop device'],
  rows.works(persons).map((work) => [count(work), duration(rows.time(persons, work))]),
)}

## Size

Compiled for 64-bit Arm at -Os, the component has ${count(text)} bytes of code and constants and ${count(data)} bytes of data (\`script/size\`).
\`npm run bench\` measures the WebAssembly, in the simulator in Chromium.
`;
}
