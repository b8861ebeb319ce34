import { afterEach, describe, expect, inject, test, vi } from 'vitest';

import { run } from '../app.js';

import type { Package } from './phone.js';
import { installed, nationalCode, outcomeOf, sign, startPhone, startSimulator } from './phone.js';

const app = inject('app');

/** Loads a copy of the module that has done nothing yet. */
const copyOfModule = (name: string): Promise<Package> => import(`${installed('simulator/index.js')}?${name}`);

afterEach(() => {
  vi.unstubAllGlobals();
  vi.restoreAllMocks();
});

test('outside a browser a phone is kept in memory, cancels its prompts and has no panel', async () => {
  const phone = await startPhone();
  expect([phone.name, phone.storage, phone.prompts]).toEqual(['default', 'memory', 'cancel']);
});

test('the first prompt that is cancelled by default says so on the console, once', async () => {
  const warning = vi.spyOn(console, 'warn').mockImplementation(() => undefined);
  const { startSimulator } = await copyOfModule('quiet');
  await using phone = await startSimulator({ keys: 'reused', people: [{ nationalCode }] });
  phone.answerNext('cancel');
  await outcomeOf(sign(phone));
  expect(warning).not.toHaveBeenCalled();
  for (let prompts = 0; prompts < 2; ++prompts) await outcomeOf(sign(phone));
  expect(warning.mock.calls).toEqual([[expect.stringMatching(/a biometric prompt was cancelled.+prompts: 'match'/)]]);
});

test('a policy that was chosen cancels without a word', async () => {
  const warning = vi.spyOn(console, 'warn');
  const { startSimulator } = await copyOfModule('chosen');
  await using phone = await startSimulator({ prompts: 'cancel', keys: 'reused', people: [{ nationalCode }] });
  await outcomeOf(sign(phone));
  expect(warning).not.toHaveBeenCalled();
});

test('a new phone has Face ID, a face enrolled, is unlocked, and holds nothing', async () => {
  const phone = await startPhone();
  expect(await phone.state()).toEqual({
    biometry: 'faceID',
    enrolled: true,
    lockedOut: false,
    locked: false,
    firstUnlock: true,
  });
  expect([await phone.items(), phone.log, phone.console, phone.prompt, phone.failure]).toEqual([
    [],
    [],
    [],
    null,
    null,
  ]);
});

describe('importing the simulator', () => {
  test.each([
    ['the ES module', 'module', `import { startSimulator } from 'kavrel-crypto/simulator';`],
    ['the CommonJS module', 'commonjs', `const { startSimulator } = require('kavrel-crypto/simulator');`],
  ])('starts nothing, from %s', async (_, type, load) => {
    const code = `const wasm = Symbol.for('kavrel-crypto.simulator.wasm'); // which the two modules share
      const names = () => Reflect.ownKeys(globalThis).filter((name) => name !== wasm);
      const before = names().length;
      ${load}
      console.log(typeof startSimulator, names().length === before);`;
    const { stdout } = await run(process.execPath, ['--input-type', type, '--eval', code], { cwd: app });
    expect(stdout).toBe('function true\n');
  });

  test('as the platform does nothing on a server, which has no page', async () => {
    const code = `import { phone } from 'kavrel-crypto/simulator/ios';
      console.log(await phone, globalThis.Capacitor, globalThis.CapacitorCustomPlatform);`;
    const { stdout } = await run(process.execPath, ['--input-type', 'module', '--eval', code], { cwd: app });
    expect(stdout).toBe('null undefined undefined\n');
  });

  test.each(['memory', 'indexeddb'])('lets a program end by itself, with a phone started in %s', async (storage) => {
    const code = `import '${import.meta.resolve('fake-indexeddb/auto')}';
      import { startSimulator } from 'kavrel-crypto/simulator';
      const phone = await startSimulator({ storage: '${storage}' });
      console.log(await phone.call('hasKey', { nationalCode: '1' }));`;
    const { stdout } = await run(process.execPath, ['--input-type', 'module', '--eval', code], { cwd: app });
    expect(stdout).toBe('{ exists: false }\n');
  });
});

describe('a second start', () => {
  const refusal = /already runs here, with a phone in memory.+stop it first: with await phone\.stop\(\)/;

  test('of a phone in memory is refused, until the first has stopped', async () => {
    const phone = await startPhone();
    expect(await outcomeOf(startSimulator())).toMatch(refusal);
    await phone.stop();
    expect(await startPhone()).not.toBe(phone);
  });

  test('is refused while the first is about to start', async () => {
    const first = startPhone();
    expect(await outcomeOf(startSimulator())).toMatch(refusal);
    expect(await (await first).call('hasKey', { nationalCode })).toEqual({ exists: false });
  });

  test('from a second copy of the module is refused as well', async () => {
    await startPhone();
    const copies = [`${installed('simulator/index.js')}?copy`, installed('simulator/index.cjs')];
    for (const copy of copies) expect(await outcomeOf((await import(copy)).startSimulator())).toMatch(refusal);
  });

  test('waits for a stop that is under way', async () => {
    const first = await startPhone();
    const call = first.call('ensureKey', { nationalCode });
    const stopped = first.stop();
    const second = startPhone();
    expect(await outcomeOf(call)).toBe('resolved');
    await stopped;
    expect(await (await second).items()).toEqual([]);
  });

  test('with options of wrong types leaves the phone that runs', async () => {
    const phone = await startPhone();
    await expect(startSimulator({ name: 7 as never })).rejects.toThrow(TypeError);
    expect(await phone.call('hasKey', { nationalCode })).toEqual({ exists: false });
  });
});

test('"await using" stops the phone at the end of its block', async () => {
  let used;
  {
    await using phone = await startSimulator();
    used = phone;
  }
  await expect(used.items()).rejects.toMatchObject({ code: 'UNAVAILABLE' });
});

describe('a start is refused', () => {
  test.each([
    ['webkit', { messageHandlers: { bridge: {} } }],
    ['androidBridge', {}],
  ])('on a phone, which has %s', async (name, value) => {
    vi.stubGlobal(name, value);
    expect(await outcomeOf(startSimulator())).toBe(
      'This app runs on a phone, which needs no simulator: leave startSimulator out of what you ship.',
    );
  });

  test('without WebCrypto, and says where there is one', async () => {
    vi.stubGlobal('crypto', {});
    expect(await outcomeOf(startSimulator())).toMatch(/WebCrypto.*localhost or over HTTPS/);
  });

  test('where IndexedDB is asked for and there is none', async () => {
    expect(await outcomeOf(startSimulator({ storage: 'indexeddb' }))).toMatch(
      /cannot keep the phone "default" in IndexedDB here: .*storage: 'memory'/,
    );
  });

  test('where a panel is asked for and none can be shown', async () => {
    expect(await outcomeOf(startSimulator({ panel: true }))).toMatch(/panel needs a page in a browser/);
  });

  test.each([
    [null, 'startSimulator takes an object, and this is null.'],
    ['memory', 'startSimulator takes an object, and this is "memory".'],
    [[], 'startSimulator takes an object, and this is an array.'],
    [
      { store: 'memory' },
      'startSimulator does not know "store". It takes platform, storage, name, prompts, panel, state, people, keys.',
    ],
    [
      { toString: 1 },
      'startSimulator does not know "toString". It takes platform, storage, name, prompts, panel, state, people, keys.',
    ],
    [{ storage: 'disk' }, `startSimulator takes 'indexeddb' or 'memory' as storage, and this is "disk".`],
    [{ name: 7 }, 'startSimulator takes a string as name, and this is 7.'],
    [{ prompts: true }, `startSimulator takes 'ask', 'match', 'no-match' or 'cancel' as prompts, and this is true.`],
    [{ panel: 'no' }, 'startSimulator takes true or false as panel, and this is "no".'],
  ])('with the options %j', async (options, sentence) => {
    await expect(startSimulator(options as object)).rejects.toThrow(new TypeError(sentence));
  });

  test('and leaves the way free for the next', async () => {
    await expect(startSimulator({ storage: 'indexeddb' })).rejects.toThrow();
    const phone = await startPhone({ name: 'another' });
    expect(await phone.call('hasKey', { nationalCode })).toEqual({ exists: false });
  });
});

test('an option that is undefined is as if it were left out', async () => {
  const phone = await startPhone({ storage: undefined, name: undefined, prompts: undefined, panel: undefined });
  expect([phone.name, phone.storage, phone.prompts]).toEqual(['default', 'memory', 'cancel']);
});
