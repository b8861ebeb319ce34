import 'fake-indexeddb/auto';

import { openDB } from 'idb';
import { afterEach, beforeEach, describe, expect, test, vi } from 'vitest';

import { answer } from '../../src/simulator/failure.js';
import { IndexedDBStorage } from '../../src/simulator/keychain/indexeddb.js';
import { Keychain } from '../../src/simulator/keychain/keychain.js';
import { MemoryStorage } from '../../src/simulator/keychain/memory.js';
import { newState } from '../../src/simulator/keychain/state.js';
import type { ItemQuery, NewItem, PhoneStorage } from '../../src/simulator/keychain/storage.js';
import { generateKeyPair } from '../../src/simulator/keys/keys.js';
import type { Key } from '../../src/simulator/keys/keys.js';

import { startPhone } from './phone.js';

let phones = 0;

/** The transactions that were begun, latest last. */
const begun: IDBTransaction[] = [];
const abortLatest = () => begun.at(-1)!.abort();

beforeEach(() => {
  const { transaction } = IDBDatabase.prototype;
  vi.spyOn(IDBDatabase.prototype, 'transaction').mockImplementation(function (this: IDBDatabase, ...values) {
    begun.push(transaction.apply(this, values));
    return begun.at(-1)!;
  });
});
afterEach(() => vi.restoreAllMocks());

const storages: Record<PhoneStorage['kind'], () => Promise<PhoneStorage>> = {
  indexeddb: () => IndexedDBStorage.open(`phone ${++phones}`),
  memory: async () => new MemoryStorage(),
};

const keychainOver = (storage: PhoneStorage) => new Keychain(storage, () => undefined);

const password = (name: string, secret: number): NewItem => ({
  class: 'genericPassword',
  name,
  accessibility: 'afterFirstUnlock',
  createdAt: new Date(),
  secret: Uint8Array.of(secret),
});

const { privateKey, publicKey } = await generateKeyPair(1024);

const key = (itemClass: 'privateKey' | 'publicKey', number: number): NewItem => ({
  ...password('tag', number),
  class: itemClass,
  secret: { privateKey, publicKey, rsaPublicKey: Uint8Array.of(number) } as Key,
});

async function passwordOf(keychain: Keychain, name: string): Promise<number | undefined> {
  const item = await keychain.find({ classes: ['genericPassword'], name });
  return (item?.secret as Uint8Array | undefined)?.[0];
}

describe.each(Object.entries(storages))('a keychain in %s', (_, open) => {
  test('finds the item that was stored first', async () => {
    const keychain = keychainOver(await open());
    await keychain.add([key('publicKey', 1), key('privateKey', 2)]);
    await keychain.add([key('privateKey', 3)]);
    const numberOf = async (...classes: NewItem['class'][]) => {
      const item = await keychain.find({ classes, name: 'tag' });
      return item && (item.secret as Key).rsaPublicKey[0];
    };
    expect(await numberOf('privateKey', 'publicKey')).toBe(1);
    expect(await numberOf('privateKey')).toBe(2);
    await keychain.remove({ classes: ['privateKey'] });
    expect(await numberOf('privateKey')).toBeUndefined();
    expect(await numberOf('privateKey', 'publicKey')).toBe(1);
  });

  test('forgets what it took back', async () => {
    const keychain = keychainOver(await open());
    await expect(keychain.add([password('a', 1), password('a', 2)])).rejects.toThrow('already a password');
    expect(await passwordOf(keychain, 'a')).toBeUndefined();
    await keychain.add([password('b', 3)]);
    expect(await passwordOf(keychain, 'b')).toBe(3);
  });

  test('forgets everything when it is reset', async () => {
    const keychain = keychainOver(await open());
    await keychain.add([password('a', 1)]);
    expect(await passwordOf(keychain, 'a')).toBe(1);
    await keychain.reset();
    expect(await passwordOf(keychain, 'a')).toBeUndefined();
  });

  test('shows a transaction what it has changed', async () => {
    const storage = await open();
    await storage.transact('readwrite', async (transaction) => {
      const query: ItemQuery = { classes: ['genericPassword'], name: 'a' };
      expect(await transaction.find(query)).toEqual([]);
      await transaction.add(password('a', 1));
      expect(await transaction.find(query)).toHaveLength(1);
      await transaction.setState({ ...(await transaction.state()), locked: true });
      expect((await transaction.state()).locked).toBe(true);
    });
  });

  test('knows every change at once, also while it reads', async () => {
    const storage = await open();
    const [one, another] = [keychainOver(storage), keychainOver(storage)];
    for (let secret = 1; secret <= 20; ++secret) {
      const reads = Promise.all([passwordOf(one, 'a'), one.state()]);
      const write = another.add([password('a', secret)]);
      await reads;
      await write;
      expect(await passwordOf(one, 'a')).toBe(secret);
      await another.remove({ classes: ['genericPassword'] });
      expect(await passwordOf(one, 'a')).toBeUndefined();
    }
  });
});

describe('a transaction that IndexedDB aborts', () => {
  test('without saying why fails all the same, and the console has a reason', async () => {
    const storage = await storages.indexeddb();
    const error = vi.spyOn(console, 'error').mockImplementation(() => undefined);
    const given = await answer(() =>
      storage.transact('readwrite', async (transaction) => {
        await transaction.setState(newState);
        abortLatest();
      }),
    );
    expect(given).toMatchObject({ error: { code: -36 } });
    expect(error).toHaveBeenCalledWith(expect.stringMatching(/AbortError/));
  });

  test('when it is to be kept keeps nothing, and says so', async () => {
    const storage = await storages.indexeddb();
    const kept = storage.transact('readwrite', async (transaction) => {
      await transaction.setState({ ...newState, locked: true });
      queueMicrotask(abortLatest); // after the work is done, and before the database has kept it
    });
    await expect(kept).rejects.toThrow();
    expect(await storage.transact('readonly', (transaction) => transaction.state())).toEqual(newState);
  });
});

test('a connection is closed with the phone, and one that could not be used at once', async () => {
  const close = vi.spyOn(IDBDatabase.prototype, 'close');
  (await storages.indexeddb()).close();
  await vi.waitFor(() => expect(close).toHaveBeenCalledTimes(1));
  vi.spyOn(IDBObjectStore.prototype, 'put').mockImplementation(() => {
    throw new DOMException('The disk is full.', 'QuotaExceededError');
  });
  await expect(storages.indexeddb()).rejects.toThrow('The disk is full.');
  await vi.waitFor(() => expect(close).toHaveBeenCalledTimes(2));
});

test('whether a phone can be kept is tried without a trace', async () => {
  const name = `phone ${++phones}`;
  await IndexedDBStorage.open(name);
  const database = await openDB(`kavrel-crypto/${name}`);
  expect([await database.count('items'), await database.count('state')]).toEqual([0, 0]);
  database.close();
});

test('a phone that has stopped has closed its connection, and its channel to the other pages', async () => {
  const closed = [IDBDatabase, BroadcastChannel].map(({ prototype }) => vi.spyOn(prototype, 'close'));
  const phone = await startPhone({ storage: 'indexeddb', name: `phone ${++phones}` });
  expect(closed.map(({ mock }) => mock.calls.length)).toEqual([0, 0]);
  await phone.stop();
  expect(closed.map(({ mock }) => mock.calls.length)).toEqual([1, 1]);
});

test('a page that reads without a pause lets another one write', async () => {
  const name = `phone ${++phones}`;
  const [reader, writer] = [await IndexedDBStorage.open(name), await IndexedDBStorage.open(name)].map(keychainOver);
  await passwordOf(reader!, 'a');
  let isWritten = false;
  const write = writer!.add([password('a', 1)]).then(() => (isWritten = true));
  let reads = 0;
  while (!isWritten && reads < 100_000) {
    await passwordOf(reader!, 'a');
    ++reads;
  }
  expect(isWritten).toBe(true);
  await write;
});

test('two pages see each other in IndexedDB', async () => {
  const name = `phone ${++phones}`;
  const [one, another] = [await IndexedDBStorage.open(name), await IndexedDBStorage.open(name)].map(keychainOver);
  for (let secret = 1; secret <= 20; ++secret) {
    expect(await passwordOf(one!, 'a')).toBeUndefined();
    await another!.add([password('a', secret)]);
    expect(await passwordOf(one!, 'a')).toBe(secret);
    await one!.remove({ classes: ['genericPassword'] });
    expect(await passwordOf(another!, 'a')).toBeUndefined();
  }
});
