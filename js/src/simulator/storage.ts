import type { Accessibility, PhoneState } from './definitions.js';
import type { Key } from './keys.js';

/** The state of the phone, and what its sensor remembers. */
export interface State extends PhoneState {
  /** Biometric prompts without a match, in a row. The fifth locks the sensor out. */
  failedPrompts: number;
}

export const newState: Readonly<State> = {
  biometry: 'faceID',
  enrolled: true,
  lockedOut: false,
  locked: false,
  firstUnlock: true,
  failedPrompts: 0,
};

export type ItemClass = 'genericPassword' | 'publicKey' | 'privateKey';

export interface NewItem {
  class: ItemClass;

  /** A password's account, a key's application tag. */
  name: string;

  accessibility: Accessibility;
  createdAt: Date;

  /** A password's bytes, or a key. */
  secret: Uint8Array | Key;
}

/** Items are numbered in the order in which they were stored. */
export type StoredItem = NewItem & { id: number };

export interface Transaction {
  state(): Promise<State>;
  setState(state: State): Promise<void>;

  /** The items of the class and, where it is given, of the name, in the order in which they were stored. */
  find(itemClass: ItemClass, name?: string): Promise<StoredItem[]>;

  /** All items, in the order in which they were stored. */
  list(): Promise<StoredItem[]>;

  add(item: NewItem): Promise<void>;
  remove(id: number): Promise<void>;
  clear(): Promise<void>;
}

/** Where the items and the state of one phone are kept. */
export interface Storage {
  readonly kind: 'indexeddb' | 'memory';

  /**
   * Does `work` as one transaction, isolated from every other: all that it changes is kept, or nothing if it rejects.
   * `work` waits for nothing but the transaction's own promises, since IndexedDB ends a transaction that is idle.
   */
  transact<T>(mode: 'readonly' | 'readwrite', work: (transaction: Transaction) => Promise<T>): Promise<T>;

  close(): void;
}
