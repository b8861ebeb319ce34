import { TestAuthority } from '../authority/authority.js';
import type { Person, PhoneState, PrivateKeyJWK } from '../definitions.js';
import { MemoryStorage } from '../keychain/memory.js';
import { changedState, newState } from '../keychain/state.js';
import type { PhoneStorage, StoredItem, Transaction } from '../keychain/storage.js';
import type { KeyPair } from '../keys/keys.js';
import { importKeyPair } from '../keys/keys.js';
import type { KeySource } from '../keys/source.js';
import { SimulatedPhone } from '../phone/phone.js';

/** Somebody to be enrolled. Without a pair, one is made. */
interface Enrolment extends Omit<Person, 'privateKey'> {
  pair?: KeyPair;
}

/** The number of base64url characters of a modulus with 2048 bits. Its first bit is 1, so the first character is late. */
const modulus = /^[g-z0-9_-][A-Za-z0-9_-]{341}$/;

async function readKey(jwk: PrivateKeyJWK, where: string): Promise<KeyPair> {
  const wrong = (what: string) =>
    new TypeError(`${where} takes an RSA private key of 2048 bits, as a JSON Web Key, as privateKey: ${what}.`);
  if (jwk.kty !== 'RSA') throw wrong(`its kty is ${JSON.stringify(jwk.kty)} and not "RSA"`);
  if (!modulus.test(jwk.n ?? '')) throw wrong('its n is not a number of 2048 bits');
  if (jwk.d === undefined) throw wrong('it has no d, so it is a public key');
  return importKeyPair(jwk).catch((error) => {
    throw wrong(`WebCrypto does not take it (${error.message})`);
  });
}

/** Reads the keys of the people. Throws a TypeError for one that cannot be used. */
export function readPeople(people: readonly Person[]): Promise<Enrolment[]> {
  return Promise.all(
    people.map(async ({ nationalCode, privateKey, certificate }, index) => ({
      nationalCode,
      certificate,
      pair: privateKey && (await readKey(privateKey, `people[${index}]`)),
    })),
  );
}

/** The other members of a record, which nobody reads. */
const record = {
  ...{ identificationId: '', name: '', lastName: '', enName: '', enLastName: '', postalCode: '', phoneNumber: '' },
  ...{ birthCertificateId: '', birthDate: '', city: '', provinceName: '', gender: '', citizenship: '' },
};

/** Gives the person a key and a certificate on `phone`, whose next pair is the person's. */
async function enrol(phone: SimulatedPhone, { nationalCode, certificate }: Enrolment): Promise<void> {
  await phone.call('ensureKey', { nationalCode });
  if (certificate === undefined) return;
  const issued = async () => {
    const authority = await TestAuthority.create();
    return authority.issue((await phone.call('createCSR', { userInfo: { ...record, nationalCode } })).csrPem);
  };
  const certPem = certificate === true ? await issued() : certificate;
  await phone.call('storeCertificate', { nationalCode, certPem }).catch(({ message }) => {
    throw new TypeError(`The certificate of "${nationalCode}" in people is not one for its privateKey (${message}).`);
  });
}

/** Returns what the keychain holds for each of the people once they are enrolled: by the component, on another phone. */
async function itemsOf(people: readonly Enrolment[], generateKeyPair: KeySource): Promise<StoredItem[][]> {
  const storage = new MemoryStorage();
  const list = () => storage.transact('readonly', (transaction) => transaction.list());
  let pair: KeyPair | undefined;
  const phone = new SimulatedPhone({
    name: 'enrolment',
    storage,
    generateKeyPair: async (bits) => pair ?? generateKeyPair(bits),
    release: () => true,
  });
  try {
    await phone.start();
    const items: StoredItem[][] = [];
    for (const person of people) {
      const before = (await list()).length;
      pair = person.pair;
      await enrol(phone, person);
      items.push((await list()).slice(before));
    }
    return items;
  } finally {
    await phone.stop();
  }
}

/** The tag under which the component keeps a private key. */
const privateTag = (nationalCode: string): string => `com.solbera.app.privatekey.${nationalCode}`;

async function hasKey(transaction: Transaction, nationalCode: string): Promise<boolean> {
  return (await transaction.find({ classes: ['privateKey'], name: privateTag(nationalCode) })).length > 0;
}

/** Stores an item. A password takes the place of the one that its account has. */
async function store(transaction: Transaction, item: StoredItem): Promise<void> {
  if (item.class === 'genericPassword') {
    for (const { id } of await transaction.find({ classes: [item.class], name: item.name }))
      await transaction.remove(id);
  }
  const { class: itemClass, name, accessibility, createdAt, secret } = item;
  await transaction.add({ class: itemClass, name, accessibility, createdAt, secret }); // under a number of its own
}

/** Enrols those of the people who have no key yet, and gives a phone that is new its state. */
export async function populate(
  storage: PhoneStorage,
  state: Partial<PhoneState>,
  people: readonly Enrolment[],
  generateKeyPair: KeySource,
): Promise<void> {
  const missing = await storage.transact('readonly', async (transaction) => {
    const isThere = await Promise.all(people.map(({ nationalCode }) => hasKey(transaction, nationalCode)));
    return people.filter((_, index) => !isThere[index]);
  });
  if (missing.length === 0 && Object.keys(state).length === 0) return;
  const items = missing.length > 0 ? await itemsOf(missing, generateKeyPair) : [];
  await storage.transact('readwrite', async (transaction) => {
    if (await transaction.isNew()) await transaction.setState(changedState({ ...newState }, state));
    for (const [index, { nationalCode }] of missing.entries()) {
      if (await hasKey(transaction, nationalCode)) continue; // another page was faster
      for (const item of items[index]) await store(transaction, item);
    }
  });
}
