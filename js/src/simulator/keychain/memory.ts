import { Queue } from '../queue.js';

import type { State } from './state.js';
import { newState } from './state.js';
import type { ItemQuery, NewItem, PhoneStorage, StoredItem, Transaction } from './storage.js';

class MemoryTransaction implements Transaction {
  constructor(
    public current: State,
    public items: readonly StoredItem[],
    public nextId: number,
  ) {}

  async isNew(): Promise<boolean> {
    return this.current === newState && this.nextId === 1;
  }

  async state(): Promise<State> {
    return { ...this.current };
  }

  async setState(state: State): Promise<void> {
    this.current = { ...state };
  }

  async find({ classes, name }: ItemQuery): Promise<StoredItem[]> {
    return this.items.filter((item) => classes.includes(item.class) && (name === undefined || item.name === name));
  }

  async list(): Promise<StoredItem[]> {
    return [...this.items];
  }

  async add(item: NewItem): Promise<void> {
    this.items = [...this.items, { ...item, id: this.nextId++ }];
  }

  async remove(id: number): Promise<void> {
    this.items = this.items.filter((item) => item.id !== id);
  }

  async clear(): Promise<void> {
    this.items = [];
  }
}

/** Keeps a phone for as long as the page or the process lives. */
export class MemoryStorage implements PhoneStorage {
  readonly kind = 'memory';

  private readonly queue = new Queue();
  private committed = new MemoryTransaction(newState, [], 1);

  transact<T>(_: unknown, work: (transaction: Transaction) => Promise<T>): Promise<T> {
    return this.queue.run(async () => {
      const { current, items, nextId } = this.committed;
      const transaction = new MemoryTransaction(current, items, nextId);
      const result = await work(transaction);
      this.committed = transaction;
      return result;
    });
  }

  close(): void {
    // Nothing is open.
  }
}
