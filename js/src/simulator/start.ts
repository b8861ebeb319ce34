import { prepareComponent } from './component.js';
import type { Simulator, SimulatorOptions } from './definitions.js';
import { IndexedDBStorage } from './indexeddb.js';
import { MemoryStorage } from './memory.js';
import { checkedOptions } from './options.js';
import { isPhone } from './page.js';
import { mountPanel } from './panel/index.js';
import { SimulatedPhone } from './phone.js';
import type { Storage } from './storage.js';

/** The only simulator of a page. The package's plugin object and a second copy of this module find it too. */
interface Running {
  name: string;
  phone: Promise<Simulator>;
}

const running = Symbol.for('kavrel-crypto.simulator');

const page = globalThis as { [running]?: Running };

/** Whether this is a page in a browser with modal dialogs, and so with a person in front of it. */
const canShowPanel = (): boolean =>
  typeof HTMLDialogElement === 'function' && 'showModal' in HTMLDialogElement.prototype;

async function openStorage({ storage, name = 'default' }: SimulatorOptions): Promise<Storage> {
  if (storage === 'memory' || (storage === undefined && !canShowPanel())) return new MemoryStorage();
  try {
    return await IndexedDBStorage.open(name);
  } catch (error) {
    const reason = error instanceof Error ? error.message : String(error);
    if (storage === 'indexeddb') {
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
  if (canShowPanel()) return;
  throw new Error("The simulator's panel needs a page in a browser that has modal dialogs. Leave out panel: true.");
}

async function start(options: SimulatorOptions): Promise<Simulator> {
  requireWebCrypto();
  const { name = 'default', prompts = canShowPanel() ? 'ask' : 'cancel', panel = canShowPanel() } = options;
  if (panel) requirePanel();
  prepareComponent(); // while the storage is opened
  const storage = await openStorage(options);
  let takePanelAway = () => {};
  const phone = new SimulatedPhone(name, storage, prompts, () => {
    delete page[running];
    takePanelAway();
  });
  await phone.start().catch(async (error) => {
    await phone.stop();
    throw error;
  });
  if (panel) takePanelAway = mountPanel(phone);
  if (canShowPanel()) {
    console.warn('kavrel-crypto: this page runs on a simulated phone, whose keys protect nothing.');
  }
  return phone;
}

/**
 * Starts the simulator, after which the package's plugin object answers in this page. If one already runs under the same
 * name, resolves with that one; if it runs under another name, rejects.
 *
 * Rejects with a sentence that says what to do if it cannot run: on a phone, on a page without WebCrypto, or without
 * the IndexedDB that was asked for. Rejects with a `TypeError` for options that it does not know.
 */
export async function startSimulator(options: SimulatorOptions = {}): Promise<Simulator> {
  const checked = checkedOptions(options);
  if (isPhone()) {
    throw new Error('This app runs on a phone, which needs no simulator: leave startSimulator out of what you ship.');
  }
  const { name = 'default' } = checked;
  const present = page[running];
  if (present && present.name !== name) {
    throw new Error(
      `The simulator already runs in this page, as "${present.name}". Stop it before you start "${name}".`,
    );
  }
  if (present) return present.phone;
  const phone = start(checked);
  page[running] = { name, phone };
  phone.catch(() => delete page[running]);
  return phone;
}
