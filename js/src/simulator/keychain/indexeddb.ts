import type { DBSchema, IDBPDatabase, IDBPTransaction } from 'idb';
import { openDB } from 'idb';

import type { State } from './state.js';
import { newState } from './state.js';
import type { ItemQuery, NewItem, PhoneStorage, StoredItem, Transaction } from './storage.js';

interface Schema extends DBSchema {
  items: { key: number; value: StoredItem; indexes: { name: string } };
  state: { key: number; value: State };
}

type Stores = ('items' | 'state')[];

/** The key of the phone's state in the store `state`. */
const stateKey = 0;

/** How long the browser may take to open the database, in milliseconds. */
const longestOpening = 5000;

class StoredTransaction<Mode extends IDBTransactionMode> implements Transaction {
  private readonly items;
  private readonly states;

  constructor(transaction: IDBPTransaction<Schema, Stores, Mode>) {
    // The component's operations are asked for in the mode that they need.
    const writable = transaction as unknown as IDBPTransaction<Schema, Stores, 'readwrite'>;
    this.items = writable.objectStore('items');
    this.states = writable.objectStore('state');
  }

  async isNew(): Promise<boolean> {
    return (await this.states.getKey(stateKey)) === undefined && (await this.items.count()) === 0;
  }

  async state(): Promise<State> {
    return (await this.states.get(stateKey)) ?? { ...newState };
  }

  async setState(changed: State): Promise<void> {
    await this.states.put(changed, stateKey);
  }

  async find({ classes, name }: ItemQuery): Promise<StoredItem[]> {
    const named = await (name === undefined ? this.items.getAll() : this.items.index('name').getAll(name));
    return named.filter((item) => classes.includes(item.class));
  }

  list(): Promise<StoredItem[]> {
    return this.items.getAll();
  }

  async add(item: NewItem): Promise<void> {
    await this.items.add(item as StoredItem); // the database numbers it
  }

  async remove(id: number): Promise<void> {
    await this.items.delete(id);
  }

  async clear(): Promise<void> {
    await this.items.clear();
  }
}

/** Keeps a phone in the browser's database, for all pages of one origin. */
export class IndexedDBStorage implements PhoneStorage {
  readonly kind = 'indexeddb';

  private connection: Promise<IDBPDatabase<Schema>> | undefined;

  private constructor(private readonly name: string) {}

  /** Opens the database of the phone `phone`. Rejects if it cannot be opened, written to, or hold a `CryptoKey`. */
  static async open(phone: string): Promise<IndexedDBStorage> {
    const storage = new IndexedDBStorage(`kavrel-crypto/${phone}`);
    const key = await crypto.subtle.generateKey({ name: 'AES-GCM', length: 128 }, false, ['encrypt']);
    try {
      const transaction = await storage.begin('readwrite');
      const end = transaction.done.catch(() => undefined);
      try {
        await transaction.objectStore('state').put(key as unknown as State, stateKey + 1);
      } finally {
        transaction.abort();
        await end;
      }
      return storage;
    } catch (error) {
      storage.close();
      throw error;
    }
  }

  async transact<T>(mode: 'readonly' | 'readwrite', work: (transaction: Transaction) => Promise<T>): Promise<T> {
    const transaction = await this.begin(mode);
    transaction.done.catch(() => undefined); // if `work` rejects, its reason is the one that counts
    try {
      const result = await work(new StoredTransaction(transaction));
      await transaction.done;
      return result;
    } catch (error) {
      abort(transaction);
      throw error;
    }
  }

  close(): void {
    this.connection?.then(
      (database) => database.close(),
      () => undefined,
    );
    this.connection = undefined;
  }

  private async begin<Mode extends 'readonly' | 'readwrite'>(
    mode: Mode,
  ): Promise<IDBPTransaction<Schema, Stores, Mode>> {
    const start = (database: IDBPDatabase<Schema>) =>
      database.transaction<Stores, Mode>(['items', 'state'], mode, { durability: 'relaxed' });
    const database = await this.connected();
    try {
      return start(database);
    } catch {
      // The connection was closed by an upgrade in another tab, or by the person, who cleared the site's data.
      this.close();
      return start(await this.connected());
    }
  }

  private connected(): Promise<IDBPDatabase<Schema>> {
    this.connection ??= this.connect().catch((error) => {
      this.connection = undefined; // so that the next transaction tries again
      throw error;
    });
    return this.connection;
  }

  /** Opens the database, unless that takes too long: a deletion waits until every other page has closed it. */
  private async connect(): Promise<IDBPDatabase<Schema>> {
    const forget = () => this.close();
    // No version: what a later release has upgraded is opened as it is.
    const opening = openDB<Schema>(this.name, undefined, {
      upgrade(database) {
        database.createObjectStore('state');
        database.createObjectStore('items', { keyPath: 'id', autoIncrement: true }).createIndex('name', 'name');
      },
      blocking: forget,
      terminated: forget,
    });
    let timer: ReturnType<typeof setTimeout> | undefined;
    const tooLong = new Promise<never>((_, reject) => {
      const sentence = 'another page keeps the database from being deleted; close the other pages of this app';
      timer = setTimeout(() => reject(new Error(sentence)), longestOpening);
    });
    try {
      return await Promise.race([opening, tooLong]);
    } catch (error) {
      opening.then(
        (database) => database.close(),
        () => undefined,
      );
      throw error;
    } finally {
      clearTimeout(timer);
    }
  }
}

function abort(transaction: { abort(): void }): void {
  try {
    transaction.abort();
  } catch {
    // It has ended already, by the very failure that is being reported.
  }
}
