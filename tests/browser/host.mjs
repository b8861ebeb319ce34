// The browser device under the tests of the plugin: the simulator, as an app that installs the packed package gets it,
// on a phone in memory. The package is the argument, as the path of a tarball.
//
// Each line on standard input is a JSON object with an `operation` and its arguments. Each is answered, in order, with
// a line on standard output: an object with the `result`, or with an `error` for people. The process ends when its
// standard input does, so it does not outlive the tests.

import { execFileSync } from 'node:child_process';
import { createPublicKey } from 'node:crypto';
import { mkdirSync, mkdtempSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { setTimeout as delay } from 'node:timers/promises';

/** Starts the simulator of the package in `tarball`, found under the name by which an app imports it. */
async function startedPhone(tarball) {
  const app = mkdtempSync(join(tmpdir(), 'kavrel-crypto-'));
  try {
    const installed = join(app, 'node_modules/kavrel-crypto');
    mkdirSync(installed, { recursive: true });
    execFileSync('tar', ['-xzf', tarball, '-C', installed, '--strip-components=1']);
    writeFileSync(join(app, 'app.mjs'), "export * from 'kavrel-crypto/simulator';\n");
    const { startSimulator } = await import(join(app, 'app.mjs'));
    return await startSimulator({ storage: 'memory', prompts: 'ask' });
  } finally {
    rmSync(app, { recursive: true });
  }
}

const phone = await startedPhone(process.argv[2]);

// What the tests do behind the plugin's back has no place in the simulator's interface, so it goes through a member
// that only TypeScript hides.
const { keychain } = phone;

/** The calls that ended since the tests were last told, in that order. */
const ended = [];
let answer = 'cancel';
let prompts = [];
let lines = [];

phone.addEventListener('prompt', () => phone.prompt && prompts.push(phone.prompt.reason));
phone.addEventListener('console', () => lines.push(phone.console.at(-1)));

/** Resolves when the component has done all that was asked of it before. */
const everythingBefore = () => phone.state();

function takeEnded() {
  if (phone.failure) throw new Error(`the component stopped, because this did not hold: ${phone.failure}`);
  return ended.splice(0);
}

const operations = {
  async startNew() {
    await phone.reset();
    answer = 'cancel';
    prompts = [];
  },

  async setState({ state }) {
    await phone.set(state);
  },

  answerPrompts({ how }) {
    answer = how;
  },

  promptsShown: () => prompts,

  /** Makes a call. A prompt that it leads to stays up. */
  async begin({ id, method, options }) {
    phone.call(method, options).then(
      (result) => ended.push({ id, result }),
      ({ message, code = null }) => ended.push({ id, message, code }),
    );
    await everythingBefore();
    const calls = takeEnded();
    if (phone.log.at(-1)?.outcome === 'unfinished') throw new Error(`the plugin has no handler for ${method}`);
    return calls;
  },

  /** Answers the prompt that is up, and gives what follows from it the time to happen. */
  async runMainQueue() {
    phone.prompt?.[answer]();
    await delay(1);
    const calls = takeEnded();
    await everythingBefore();
    return calls;
  },

  takeLines: () => lines.splice(0),

  /** The public key of the key half that is stored first under `tag`, in base64; null if there is none. */
  async keychainKey({ half, tag }) {
    const item = await keychain.find({ classes: [half], name: tag });
    return item ? Buffer.from(item.secret.rsaPublicKey).toString('base64') : null;
  },

  async addKeychainPair({ privateTag, publicTag }) {
    const { privateKey, publicKey } = await crypto.subtle.generateKey(
      { name: 'RSASSA-PKCS1-v1_5', modulusLength: 2048, publicExponent: new Uint8Array([1, 0, 1]), hash: 'SHA-256' },
      false,
      ['sign', 'verify'],
    );
    const info = Buffer.from(await crypto.subtle.exportKey('spki', publicKey));
    const rsaPublicKey = createPublicKey({ key: info, format: 'der', type: 'spki' }).export({
      format: 'der',
      type: 'pkcs1',
    });
    const item = { accessibility: 'afterFirstUnlock', createdAt: new Date() };
    await keychain.add([
      { ...item, class: 'privateKey', name: privateTag, secret: { privateKey, publicKey, rsaPublicKey } },
      { ...item, class: 'publicKey', name: publicTag, secret: { publicKey, rsaPublicKey } },
    ]);
    return rsaPublicKey.toString('base64');
  },

  deleteKeychainKeys: ({ tag }) => keychain.remove({ classes: ['privateKey', 'publicKey'], name: tag }),
};

/** Yields the lines of `stream`. They end with a line feed alone: a string may hold any other separator as it is. */
async function* linesOf(stream) {
  let line = '';
  for await (const chunk of stream.setEncoding('utf8')) {
    const [end, ...following] = chunk.split('\n');
    line += end;
    for (const begin of following) {
      yield line;
      line = begin;
    }
  }
}

for await (const line of linesOf(process.stdin)) {
  const { operation, ...values } = JSON.parse(line);
  let reply;
  try {
    reply = { result: (await operations[operation](values)) ?? null };
  } catch (error) {
    reply = { error: `${operation}: ${error.message}` };
  }
  process.stdout.write(`${JSON.stringify(reply)}\n`);
}
process.exit();
