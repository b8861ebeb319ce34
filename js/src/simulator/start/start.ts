import { prepareComponent } from '../app/component.js';
import type { Simulator, SimulatorOptions } from '../definitions.js';
import { checkedOptions } from '../input/options.js';
import { IndexedDBStorage } from '../keychain/indexeddb.js';
import { MemoryStorage } from '../keychain/memory.js';
import type { PhoneStorage } from '../keychain/storage.js';
import { keySource } from '../keys/source.js';
import { mountPanel } from '../panel/index.js';
import { rejection, SimulatedPhone } from '../phone/phone.js';

import { canAskPerson, isPhone } from './page.js';
import { populate, readPeople } from './people.js';
import { becomeIOS } from './platform.js';

/** What a start asks for, once every default is known. */
type Wanted = Required<Omit<SimulatorOptions, 'prompts' | 'state' | 'people'>> &
  Pick<SimulatorOptions, 'prompts' | 'state' | 'people'>;

/** The latest start of a page. The package's plugin object and a second copy of this module find it too. */
interface Running {
  /** What answers the plugin's calls. If the simulator did not start, it rejects them. */
  phone: Promise<Simulator | { call(): Promise<never> }>;

  started: Promise<Simulator>;

  options?: Wanted;

  /** How many starts there are that have not been stopped: none if it has failed, or begins to stop. */
  starts: number;
}

const running = Symbol.for('kavrel-crypto.simulator');

const page = globalThis as { [running]?: Running; kavrelSimulator?: Promise<Simulator> };

function withDefaults(options: SimulatorOptions): Wanted {
  const isAsking = canAskPerson();
  return {
    platform: 'web',
    storage: isAsking ? 'indexeddb' : 'memory',
    name: 'default',
    panel: isAsking,
    keys: 'new',
    ...(isAsking && { prompts: 'ask' as const }),
    ...options,
  };
}

/** Opens the storage. If it `mayBeMemory`, memory takes the place of an IndexedDB that cannot be used. */
async function openStorage({ storage, name }: Wanted, mayBeMemory: boolean): Promise<PhoneStorage> {
  if (storage === 'memory') return new MemoryStorage();
  try {
    return await IndexedDBStorage.open(name);
  } catch (error) {
    const reason = error instanceof Error ? error.message : String(error);
    if (!mayBeMemory) {
      throw new Error(
        `The simulator cannot keep the phone "${name}" in IndexedDB here: ${reason}. ` +
          "Free some room or leave the private window, or start it with storage: 'memory'.",
      );
    }
    console.warn(`kavrel-crypto simulator: IndexedDB cannot be used here (${reason}), so a reload forgets the phone.`);
    return new MemoryStorage();
  }
}

function requireWebCrypto(): void {
  if (globalThis.crypto?.subtle) return;
  throw new Error(
    'The simulator needs WebCrypto, which a browser gives only to pages from localhost or over HTTPS. ' +
      'Open this page from one of them.',
  );
}

function requirePanel(): void {
  if (canAskPerson()) return;
  throw new Error("The simulator's panel needs a page in a browser that has modal dialogs. Leave out panel: true.");
}

/** Starts a phone. `release` is called at every stop, and returns whether it is the last. */
async function start(wanted: Wanted, mayBeMemory: boolean, release: () => boolean): Promise<Simulator> {
  requireWebCrypto();
  if (wanted.panel) requirePanel();
  const people = await readPeople(wanted.people ?? []);
  prepareComponent(); // while the storage is opened
  const storage = await openStorage(wanted, mayBeMemory);
  const generateKeyPair = keySource(wanted.keys);
  let takePanelAway = () => {};
  const phone = new SimulatedPhone({
    name: wanted.name,
    storage,
    generateKeyPair,
    prompts: wanted.prompts,
    release() {
      const isLast = release();
      if (isLast) takePanelAway();
      return isLast;
    },
  });
  try {
    await populate(storage, wanted.state ?? {}, people, generateKeyPair);
    await phone.start();
    if (wanted.panel) takePanelAway = mountPanel(phone);
  } catch (error) {
    await phone.shutDown();
    throw error;
  }
  if (canAskPerson()) {
    console.warn('kavrel-crypto: this page runs on a simulated phone, whose keys protect nothing.');
  }
  return phone;
}

/** Does what `begin` returns the promise of. Whatever happens up to the first wait happens before `begin` returns. */
async function run(options: SimulatorOptions, previous: Running | undefined, entry: Running): Promise<Simulator> {
  let leavePlatform = () => {};
  try {
    const checked = checkedOptions(options);
    const wanted = withDefaults(checked);
    entry.options = wanted;
    if (wanted.platform === 'ios') leavePlatform = becomeIOS();
    await previous?.started.then(
      (phone) => phone.stop(), // it is stopping already
      () => undefined,
    );
    return await start(wanted, checked.storage === undefined, () => {
      entry.starts -= 1;
      if (entry.starts > 0) return false;
      leavePlatform();
      if (page.kavrelSimulator === entry.started) delete page.kavrelSimulator;
      return true;
    });
  } catch (error) {
    entry.starts = 0;
    leavePlatform();
    throw error;
  }
}

function begin(options: SimulatorOptions, previous: Running | undefined): Promise<Simulator> {
  const entry = { starts: 1 } as Running;
  entry.started = run(options, previous, entry);
  entry.phone = entry.started.catch((error) => ({
    call: () => Promise.reject(rejection(`The simulator did not start: ${error.message}`, 'UNAVAILABLE')),
  }));
  page[running] = entry;
  if (typeof document !== 'undefined') page.kavrelSimulator = entry.started;
  return entry.started;
}

/** Returns the phone that runs to a start that wants the same one. */
async function join(present: Running, options: SimulatorOptions): Promise<Simulator> {
  const [there, wanted] = [present.options!, withDefaults(checkedOptions(options))];
  if (there.storage === 'memory' && wanted.storage === 'memory') {
    throw new Error(
      'The simulator already runs here, with a phone in memory. Whoever started it has to stop it first: ' +
        'with await phone.stop(), in a test with afterEach(() => phone.stop()), or by starting it with "await using".',
    );
  }
  const words = (value: unknown) => (value === undefined ? 'none' : JSON.stringify(value));
  for (const name of new Set([...Object.keys(there), ...Object.keys(wanted)]) as Set<keyof Wanted>) {
    const [present, asked] = [words(there[name]), words(wanted[name])];
    if (present === asked) continue;
    throw new Error(
      `The simulator already runs in this page with other options: ${name} is ${present}, and this start asks for ${asked}. ` +
        'Stop it first, or start it with the same options.',
    );
  }
  present.starts += 1;
  return present.started;
}

/**
 * Starts the simulator, after which the package's plugin object answers in this page. Over IndexedDB, a start with the
 * same options as the one that runs resolves with the same phone, which stops when each start has been stopped. A start
 * waits for a stop that is under way. In a document, `kavrelSimulator` is the promise of the phone while it runs.
 *
 * Rejects with a sentence that says what to do if it cannot run: on a phone, on a page without WebCrypto, without the
 * IndexedDB that was asked for, or while another simulator runs. Rejects with a `TypeError` for options that it does not
 * know, and with a `RangeError` for a state that no phone has. The calls of the plugin object then reject as UNAVAILABLE,
 * with that sentence, until a start succeeds.
 */
export function startSimulator(options: SimulatorOptions = {}): Promise<Simulator> {
  if (isPhone()) {
    const sentence = 'This app runs on a phone, which needs no simulator: leave startSimulator out of what you ship.';
    return Promise.reject(new Error(sentence));
  }
  const present = page[running];
  return present && present.starts > 0 ? join(present, options) : begin(options, present);
}
