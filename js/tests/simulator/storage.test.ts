import 'fake-indexeddb/auto';

import { describe, expect, test } from 'vitest';

import { IndexedDBStorage } from '../../src/simulator/indexeddb.js';
import { Keychain } from '../../src/simulator/keychain.js';
import type { Key } from '../../src/simulator/keys.js';
import { generateKeyPair } from '../../src/simulator/keys.js';
import { MemoryStorage } from '../../src/simulator/memory.js';
import type { ItemQuery, NewItem, Storage } from '../../src/simulator/storage.js';

let phones = 0;

const storages: Record<Storage['kind'], () => Promise<Storage>> = {
  indexeddb: () => IndexedDBStorage.open(`phone ${++phones}`),
  memory: async () => new MemoryStorage(),
};

const keychainOver = (storage: Storage) => new Keychain(storage, () => undefined);

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
