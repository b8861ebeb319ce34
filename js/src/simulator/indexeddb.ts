import type { ItemQuery, NewItem, State, Storage, StoredItem, Transaction } from './storage.js';
import { newState } from './storage.js';

const items = 'items';
const state = 'state';
const byName = 'name';

/** The keys of the records in the store `state`: the phone's state, and the name of the present version of its items. */
const stateKey = 0;
const versionKey = 1;

/** For how long lookups may share a transaction, in milliseconds. Writers wait for its end, in this page and in others. */
const longestReading = 10;

function settled<T>(request: IDBRequest<T>): Promise<T> {
  return new Promise((resolve, reject) => {
    request.onsuccess = () => resolve(request.result);
    request.onerror = () => reject(request.error);
  });
}

function ended(transaction: IDBTransaction): Promise<void> {
  return new Promise((resolve, reject) => {
    transaction.oncomplete = () => resolve();
    transaction.onabort = () => reject(transaction.error);
  });
}

function create(database: IDBDatabase): void {
  database.createObjectStore(state);
  const store = database.createObjectStore(items, { keyPath: 'id', autoIncrement: true });
  store.createIndex(byName, 'name');
}

/** The items that were read over a connection, by their name, of one version. */
interface Known {
  version: string | undefined;
  items: Map<string | undefined, StoredItem[]>;
}

/** What is known over each connection. To read a key takes a browser longer than all the rest of a lookup. */
const knownOver = new WeakMap<IDBDatabase, Known>();

class StoredTransaction implements Transaction {
  private readonly items: IDBObjectStore;
  private readonly stateStore: IDBObjectStore;
  private readonly began = performance.now();

  /** What was asked of a transaction that only reads, in which every answer stays true. */
  private readonly answers = new Map<number, Promise<unknown>>();

  constructor(private readonly transaction: IDBTransaction) {
    this.items = transaction.objectStore(items);
    this.stateStore = transaction.objectStore(state);
  }

  /** Whether lookups may go on in this transaction. If so, it stays open until they ask for something. */
  isOpen(): boolean {
    if (performance.now() - this.began > longestReading) return false;
    try {
      this.stateStore.getKey(stateKey); // fails at once if the browser has ended the transaction
      return true;
    } catch {
      return false;
    }
  }

  async state(): Promise<State> {
    return { ...((await this.record<State>(stateKey)) ?? newState) };
  }

  async setState(changed: State): Promise<void> {
    await settled(this.stateStore.put(changed, stateKey));
  }

  async find({ classes, name }: ItemQuery): Promise<StoredItem[]> {
    const items = await this.known(name);
    return items.filter((item) => classes.includes(item.class));
  }

  list(): Promise<StoredItem[]> {
    return this.named(undefined);
  }

  async add(item: NewItem): Promise<void> {
    await Promise.all([settled(this.items.add(item)), this.renew()]);
  }

  async remove(id: number): Promise<void> {
    await Promise.all([settled(this.items.delete(id)), this.renew()]);
  }

  async clear(): Promise<void> {
    await Promise.all([settled(this.items.clear()), this.renew()]);
  }

  /** Reads a record of the store `state`. */
  private record<T>(key: number): Promise<T | undefined> {
    const answer = this.answers.get(key) ?? settled(this.stateStore.get(key));
    if (this.transaction.mode === 'readonly') this.answers.set(key, answer);
    return answer as Promise<T | undefined>;
  }

  /** Reads the items of a name, or all. */
  private named(name: string | undefined): Promise<StoredItem[]> {
    return settled(name === undefined ? this.items.getAll() : this.items.index(byName).getAll(name));
  }

  /** Returns the items of a name, or all, and reads them only if items were added or removed since they were last read. */
  private async known(name: string | undefined): Promise<StoredItem[]> {
    const known = knownOver.get(this.transaction.db)!;
    const version = await this.record<string>(versionKey);
    if (known.version !== version) Object.assign(known, { version, items: new Map() });
    const { items } = known;
    const found = items.get(name) ?? (await this.named(name));
    items.set(name, found);
    return found;
  }

  /** Gives the items' version a new name. */
  private async renew(): Promise<void> {
    await settled(this.stateStore.put(crypto.randomUUID(), versionKey));
  }
}

/** Keeps a phone in the browser's database, for all pages of one origin. */
export class IndexedDBStorage implements Storage {
  readonly kind = 'indexeddb';

  private connection: Promise<IDBDatabase> | undefined;

  /** The last transaction that was begun to read. */
  private reading: StoredTransaction | undefined;

  private constructor(private readonly name: string) {}

  /** Opens the database of the phone `phone`. Rejects if it cannot be opened, written to, or hold a `CryptoKey`. */
  static async open(phone: string): Promise<IndexedDBStorage> {
    const storage = new IndexedDBStorage(`kavrel-crypto/${phone}`);
    const key = await crypto.subtle.generateKey({ name: 'AES-GCM', length: 128 }, false, ['encrypt']);
    const transaction = await storage.begin('readwrite');
    const end = ended(transaction).catch(() => undefined);
    try {
      await settled(transaction.objectStore(state).put(key, 'probe'));
    } finally {
      transaction.abort();
      await end;
    }
    return storage;
  }

  transact<T>(mode: 'readonly' | 'readwrite', work: (transaction: Transaction) => Promise<T>): Promise<T> {
    return mode === 'readonly' ? this.read(work) : this.write(work);
  }

  close(): void {
    this.connection?.then(
      (database) => database.close(),
      () => undefined,
    );
    this.connection = undefined;
  }

  /**
   * Reads in the last transaction as long as it may last and the browser keeps it open, which it does until the page waits
   * for something other than the database: to begin a transaction takes as long as to read.
   */
  private async read<T>(work: (transaction: Transaction) => Promise<T>): Promise<T> {
    if (!this.reading?.isOpen()) this.reading = new StoredTransaction(await this.begin('readonly'));
    return work(this.reading);
  }

  private async write<T>(work: (transaction: Transaction) => Promise<T>): Promise<T> {
    const transaction = await this.begin('readwrite');
    const end = ended(transaction);
    end.catch(() => undefined); // if `work` rejects, its reason is the one that counts
    try {
      const result = await work(new StoredTransaction(transaction));
      transaction.commit();
      await end;
      return result;
    } catch (error) {
      abort(transaction);
      throw error;
    }
  }

  private async begin(mode: IDBTransactionMode): Promise<IDBTransaction> {
    const start = (database: IDBDatabase) => database.transaction([items, state], mode, { durability: 'relaxed' });
    const database = await this.connected();
    try {
      return start(database);
    } catch {
      // The connection was closed by an upgrade in another tab, or by the person, who cleared the site's data.
      this.close();
      return start(await this.connected());
    }
  }

  private connected(): Promise<IDBDatabase> {
    this.connection ??= this.connect().catch((error) => {
      this.connection = undefined; // so that the next transaction tries again
      throw error;
    });
    return this.connection;
  }

  private async connect(): Promise<IDBDatabase> {
    // No version: what a later release has upgraded is opened as it is.
    const request = indexedDB.open(this.name);
    request.onupgradeneeded = () => create(request.result);
    const database = await settled(request);
    knownOver.set(database, { version: undefined, items: new Map() });
    const forget = () => {
      database.close();
      this.connection = undefined;
    };
    database.onversionchange = forget;
    database.onclose = forget;
    return database;
  }
}

function abort(transaction: IDBTransaction): void {
  try {
    transaction.abort();
  } catch {
    // It has ended already, by the very failure that is being reported.
  }
}
