import type { SimulatorOptions } from '../definitions.js';

import type { KeyPair } from './keys.js';
import { generateKeyPair } from './keys.js';

/** Where the key pairs of one phone come from. */
export type KeySource = (bits: number) => Promise<KeyPair>;

/** The pairs that phones of this program made to be reused, under their size and their number on the phone. */
const made = new Map<string, Promise<KeyPair>>();

/** Gives each phone the pairs that the phones before it made, in the same order, and makes those that are missing. */
function reusingKeys(): KeySource {
  let count = 0;
  return (bits) => {
    const id = `${bits} ${++count}`;
    const present = made.get(id);
    if (present) return present;
    const pair = generateKeyPair(bits);
    made.set(id, pair);
    pair.catch(() => made.delete(id));
    return pair;
  };
}

export const keySource = (keys: SimulatorOptions['keys']): KeySource =>
  keys === 'reused' ? reusingKeys() : generateKeyPair;
