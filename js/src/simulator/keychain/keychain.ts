import type { Accessibility, Item } from '../definitions.js';
import { DamagedItem, Failure, status } from '../failure.js';
import type { KeyPair } from '../keys/keys.js';

import type { State } from './state.js';
import { newState } from './state.js';
import type { ItemQuery, NewItem, PhoneStorage, StoredItem, Transaction } from './storage.js';

/** Throws if the phone's lock keeps items of this accessibility out of reach. */
function requireReach(state: State, accessibility: Accessibility): void {
  if (!state.firstUnlock) {
    throw new Failure(status.interactionNotAllowed, 'The device has not been unlocked since it was started.');
  }
  if (state.locked && accessibility.startsWith('whenUnlocked')) {
    throw new Failure(status.interactionNotAllowed, 'The device is locked.');
  }
}

/** Returns the state and the matching items. Asks for both at once, since in IndexedDB each wait takes time. */
function read(transaction: Transaction, query: ItemQuery): Promise<[State, StoredItem[]]> {
  return Promise.all([transaction.state(), transaction.find(query)]);
}

/** Whether an item's secret is what its class says. What a tool has serialised is no key any more. */
function isIntact({ class: itemClass, secret }: StoredItem): boolean {
  if (itemClass === 'genericPassword') return ArrayBuffer.isView(secret);
  const { rsaPublicKey, publicKey, privateKey } = secret as Partial<KeyPair>;
  const keys = itemClass === 'privateKey' ? [publicKey, privateKey] : [publicKey];
  return ArrayBuffer.isView(rsaPublicKey) && keys.every((key) => key instanceof CryptoKey);
}

/** Throws if the item cannot be used. Its sentence names the item and says what helps. */
function requireIntact(item: StoredItem): void {
  if (isIntact(item)) return;
  throw new DamagedItem(
    `the item "${item.name}" is damaged: what a tool has copied as text is no key any more. ` +
      'Reset the phone with phone.reset() or in its panel, and enrol again',
  );
}

function described({ class: itemClass, name, accessibility, createdAt }: StoredItem): Item {
  return itemClass === 'genericPassword'
    ? { class: itemClass, account: name, accessibility, createdAt }
    : { class: itemClass, tag: name, accessibility, createdAt };
}

/** The items and the state of one phone. An operation that fails throws a `Failure`. */
export class Keychain {
  /** `changed` is told after every change. */
  constructor(
    private readonly storage: PhoneStorage,
    private readonly changed: (what: 'items' | 'state') => void,
  ) {}

  /** Returns the matching item that was stored first. */
  find(query: ItemQuery): Promise<StoredItem | undefined> {
    return this.storage.transact('readonly', async (transaction) => {
      const [state, [first]] = await read(transaction, query);
      if (first) {
        requireReach(state, first.accessibility);
        requireIntact(first);
      }
      return first;
    });
  }

  /** Stores all the items or none. Fails if an account already has a password. */
  async add(items: NewItem[]): Promise<void> {
    await this.storage.transact('readwrite', async (transaction) => {
      const state = await transaction.state();
      for (const item of items) {
        requireReach(state, item.accessibility);
        const sameAccount = { classes: [item.class], name: item.name };
        const [same] = item.class === 'genericPassword' ? await transaction.find(sameAccount) : [];
        if (same) {
          requireReach(state, same.accessibility);
          throw new Failure(status.duplicateItem, 'There is already a password of this account.');
        }
        await transaction.add(item);
      }
    });
    this.changed('items');
  }

  /** Deletes every match. Returns false if there is none. */
  async remove(query: ItemQuery): Promise<boolean> {
    const isAny = await this.storage.transact('readwrite', async (transaction) => {
      const [state, found] = await read(transaction, query);
      for (const { accessibility } of found) requireReach(state, accessibility);
      for (const { id } of found) await transaction.remove(id);
      return found.length > 0;
    });
    if (isAny) this.changed('items');
    return isAny;
  }

  state(): Promise<State> {
    return this.storage.transact('readonly', (transaction) => transaction.state());
  }

  /** Replaces the state by what `change` returns for it. If `change` throws, the state stays as it was. */
  async changeState(change: (state: State) => State): Promise<void> {
    await this.storage.transact('readwrite', async (transaction) =>
      transaction.setState(change(await transaction.state())),
    );
    this.changed('state');
  }

  /** Lists the items that can be used. */
  async items(): Promise<Item[]> {
    const items = await this.storage.transact('readonly', (transaction) => transaction.list());
    return items.filter(isIntact).map(described);
  }

  /** Deletes all items and restores the state of a new phone. */
  async reset(): Promise<void> {
    await this.storage.transact('readwrite', async (transaction) => {
      await transaction.clear();
      await transaction.setState({ ...newState });
    });
    this.changed('items');
    this.changed('state');
  }
}
