import type { Accessibility } from '../definitions.js';
import type { Key } from '../keys/keys.js';

import type { State } from './state.js';

export type ItemClass = 'genericPassword' | 'publicKey' | 'privateKey';

export interface NewItem {
  class: ItemClass;

  /** The account of a password or the application tag of a key. */
  name: string;

  accessibility: Accessibility;
  createdAt: Date;

  /** The bytes of a password, or a key. */
  secret: Uint8Array | Key;
}

/** Items are numbered in the order in which they were stored. */
export type StoredItem = NewItem & { id: number };

/** Matches the items of any of the classes and, unless it is absent, of the name. */
export interface ItemQuery {
  classes: ItemClass[];
  name?: string;
}

export interface Transaction {
  /** Whether nothing was ever kept: neither a state nor an item. */
  isNew(): Promise<boolean>;

  state(): Promise<State>;
  setState(state: State): Promise<void>;

  /** Returns the matching items in the order in which they were stored. */
  find(query: ItemQuery): Promise<StoredItem[]>;

  /** Returns all items in the order in which they were stored. */
  list(): Promise<StoredItem[]>;

  add(item: NewItem): Promise<void>;
  remove(id: number): Promise<void>;
  clear(): Promise<void>;
}

/** Where the items and the state of one phone are kept. */
export interface PhoneStorage {
  readonly kind: 'indexeddb' | 'memory';

  /**
   * Does `work` as one transaction, isolated from every other. If it rejects, nothing that it changed is kept. `work`
   * may wait only for the transaction's own promises, since IndexedDB ends a transaction that is idle.
   */
  transact<T>(mode: 'readonly' | 'readwrite', work: (transaction: Transaction) => Promise<T>): Promise<T>;

  close(): void;
}
