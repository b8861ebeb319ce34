import type { ItemQuery, NewItem, State, Storage, StoredItem, Transaction } from './storage.js';
import { newState } from './storage.js';

const items = 'items';
const state = 'state';
const byName = 'name';

/** The key of the only record in the store `state`. */
const stateKey = 0;

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

/**
 * The items that were read over each connection, by their numbers. To read a key takes a browser longer than all the rest
 * of a lookup. An item never changes, and as long as a connection is open its number is not given to another one.
 */
const known = new WeakMap<IDBDatabase, Map<number, StoredItem>>();

class StoredTransaction implements Transaction {
  private readonly items: IDBObjectStore;
  private readonly stateStore: IDBObjectStore;

  private readonly began = performance.now();

  /** What was asked of a transaction that only reads, in which every answer stays true. */
  private readonly answers = new Map<string, Promise<unknown>>();

  constructor(private readonly transaction: IDBTransaction) {
    this.items = transaction.objectStore(items);
    this.stateStore = transaction.objectStore(state);
  }

  get age(): number {
    return performance.now() - this.began;
  }

  async state(): Promise<State> {
    return { ...((await this.answer<State | undefined>('state', this.stateStore.get(stateKey))) ?? newState) };
  }

  async setState(changed: State): Promise<void> {
    await settled(this.stateStore.put(changed, stateKey));
  }

  async find({ classes, name }: ItemQuery): Promise<StoredItem[]> {
    const ids = (await (name === undefined
      ? this.answer('items', this.items.getAllKeys())
      : this.answer(`items named ${name}`, this.items.index(byName).getAllKeys(name)))) as number[];
    const items = await Promise.all(ids.map((id) => this.item(id)));
    return items.filter((item) => classes.includes(item.class));
  }

  list(): Promise<StoredItem[]> {
    return settled(this.items.getAll());
  }

  async add(item: NewItem): Promise<void> {
    await settled(this.items.add(item));
  }

  async remove(id: number): Promise<void> {
    await settled(this.items.delete(id));
  }

  async clear(): Promise<void> {
    await settled(this.items.clear());
  }

  /**
   * Returns the answer to `question`, which is that of `request` unless it was asked before. A request that nobody waits
   * for is worth making: it fails at once if the transaction is over, and keeps it open if not.
   */
  private answer<T>(question: string, request: IDBRequest<T>): Promise<T> {
    if (this.transaction.mode !== 'readonly') return settled(request);
    const answer = (this.answers.get(question) as Promise<T> | undefined) ?? settled(request);
    this.answers.set(question, answer);
    return answer;
  }

  private async item(id: number): Promise<StoredItem> {
    const { db, mode } = this.transaction;
    const read = known.get(db)?.get(id) ?? (await settled<StoredItem>(this.items.get(id)));
    // What a transaction has added itself may be taken back, and its number is given again.
    if (mode === 'readonly') known.get(db)?.set(id, read);
    return read;
  }
}

/** Whether a request failed because its transaction was over. */
function isOver(error: unknown): boolean {
  return error instanceof DOMException && ['InvalidStateError', 'TransactionInactiveError'].includes(error.name);
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
    if (this.reading && this.reading.age < longestReading) {
      try {
        return await work(this.reading);
      } catch (error) {
        if (!isOver(error)) throw error;
      }
    }
    this.reading = new StoredTransaction(await this.begin('readonly'));
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
    known.set(database, new Map());
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
