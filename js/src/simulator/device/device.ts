import type { PhoneState } from '../definitions.js';
import type { Answer, PlatformError } from '../failure.js';
import { Failure, answer, status } from '../failure.js';
import type { Keychain } from '../keychain/keychain.js';
import type { ItemQuery, NewItem } from '../keychain/storage.js';
import type { Certificate } from '../keys/certificate.js';
import { certificateOf } from '../keys/certificate.js';
import type { Key } from '../keys/keys.js';
import { blockSize, externalRepresentation, keyOf, publicHalf, sign, verify } from '../keys/keys.js';
import type { KeySource } from '../keys/source.js';

import { Attributes, wrong } from './attributes.js';
import type { Dictionary } from './attributes.js';
import type { Faults } from './faults.js';
import type { Sensor } from './sensor.js';
import { obstacle } from './sensor.js';

const biometryTypes: Record<PhoneState['biometry'], number> = { none: 0, touchID: 1, faceID: 2, opticID: 4 };

function keyQuery(attributes: Attributes): ItemQuery {
  const name = attributes.tag();
  const type = attributes.oneOf('kSecAttrKeyType', 'kSecAttrKeyTypeRSA', 'kSecAttrKeyTypeECSECPrimeRandom');
  const keyClass = attributes.oneOf('kSecAttrKeyClass', 'kSecAttrKeyClassPrivate', 'kSecAttrKeyClassPublic');
  const classes: ItemQuery['classes'] = [];
  if (type !== 'kSecAttrKeyTypeECSECPrimeRandom') {
    if (keyClass !== 'kSecAttrKeyClassPublic') classes.push('privateKey');
    if (keyClass !== 'kSecAttrKeyClassPrivate') classes.push('publicKey');
  }
  return { classes, name };
}

/** Reads what lookup and deletion have in common. */
function itemQuery(attributes: Attributes): ItemQuery {
  // No item has an access control, so it does not matter who has been authenticated.
  attributes.ignore('kSecUseAuthenticationContext');
  attributes.oneOf('kSecUseAuthenticationUI', 'kSecUseAuthenticationUIAllow');
  switch (attributes.require('kSecClass', 'string')) {
    case 'kSecClassKey':
      return keyQuery(attributes);
    case 'kSecClassGenericPassword':
      return { classes: ['genericPassword'], name: attributes.take('kSecAttrAccount', 'string') };
    default:
      throw wrong('kSecClass', 'has an unknown value');
  }
}

function found<T>(item: T | undefined): T {
  if (item === undefined) throw new Failure(status.itemNotFound, 'There is no such item.');
  return item;
}

type Half = Omit<NewItem, 'secret'>;

/** Reads the parameters of one half of a key pair. Returns null if that half is not to be stored. */
function readHalf(attributes: Attributes, itemClass: NewItem['class'], key: string): Half | null {
  const half = new Attributes(attributes.take(key, 'dictionary') ?? {});
  const isPermanent = half.take('kSecAttrIsPermanent', 'boolean');
  const name = half.tag() ?? '';
  const accessibility = half.accessibility();
  half.finish();
  return isPermanent ? { class: itemClass, name, accessibility, createdAt: new Date() } : null;
}

function readParameters(map: Dictionary): { bits: number; halves: Half[] } {
  const attributes = new Attributes(map);
  if (attributes.oneOf('kSecAttrKeyType', 'kSecAttrKeyTypeRSA') === undefined) {
    throw wrong('kSecAttrKeyType', 'is missing');
  }
  const bits = attributes.require('kSecAttrKeySizeInBits', 'number');
  const halves = [
    readHalf(attributes, 'privateKey', 'kSecPrivateKeyAttrs'),
    readHalf(attributes, 'publicKey', 'kSecPublicKeyAttrs'),
  ];
  attributes.ignore('kSecReturnRef'); // the reference is returned anyway
  attributes.finish();
  return { bits, halves: halves.filter((half) => half !== null) };
}

/** The app's process, as its device needs it. What comes after its end does not reach it. */
export interface App {
  /** Takes a console line. */
  print(line: string): void;

  /** Runs a task that was posted to the main queue, in its turn. */
  run(task: number): void;

  /** Replies to an evaluation, in its turn. `error` is null if the person was recognised. */
  replyTo(pending: number, error: PlatformError | null): void;

  /** Settles as `work` does, but never once the process has ended, since nothing may come back into it. */
  outlive<T>(work: Promise<T>): Promise<T>;
}

/** What a phone is made of, whichever process runs on it. */
export interface Hardware {
  keychain: Keychain;
  sensor: Sensor;
  generateKeyPair: KeySource;
  faults: Faults;
}

/**
 * The device of one process, as the component sees it: the operations of the seam under the platform's names. Those that
 * can fail answer with a promise that never rejects, and that never settles once the process has ended.
 */
export class Device {
  constructor(
    private readonly hardware: Hardware,
    private readonly app: App,
  ) {}

  print(line: string): void {
    this.app.print(line);
  }

  dispatchAsyncMain(task: number): void {
    this.app.run(task);
  }

  canEvaluatePolicy(): Promise<Answer<{ biometryType: number; obstacle: PlatformError | null }>> {
    return this.answer(async () => {
      const state = await this.hardware.keychain.state();
      return { biometryType: biometryTypes[state.biometry], obstacle: obstacle(state) };
    });
  }

  /** Returns at once, and replies to `pending` later. */
  async evaluatePolicy(reason: string, pending: number): Promise<void> {
    const outcome = await answer(() => this.hardware.sensor.evaluate(reason));
    const error = 'error' in outcome ? outcome.error : outcome.result;
    this.app.replyTo(pending, error);
  }

  SecItemAdd(map: Dictionary): Promise<Answer<null>> {
    return this.answer(async () => {
      this.hardware.faults.take('addItem');
      const attributes = new Attributes(map);
      if (attributes.require('kSecClass', 'string') !== 'kSecClassGenericPassword') {
        throw wrong('kSecClass', 'names a class of which items are not added by value');
      }
      const item: NewItem = {
        class: 'genericPassword',
        name: attributes.require('kSecAttrAccount', 'string'),
        accessibility: attributes.accessibility(),
        createdAt: new Date(),
        secret: attributes.require('kSecValueData', 'bytes'),
      };
      attributes.finish();
      await this.hardware.keychain.add([item]);
      return null;
    });
  }

  /** Answers with the key or the bytes that were asked for, or with null if neither was. */
  SecItemCopyMatching(map: Dictionary): Promise<Answer<Key | Uint8Array | null>> {
    return this.answer(async () => {
      const attributes = new Attributes(map);
      const query = itemQuery(attributes);
      const isPassword = query.classes.includes('genericPassword');
      this.hardware.faults.take(isPassword ? 'readItem' : 'findItem');
      const isWanted = attributes.take(isPassword ? 'kSecReturnData' : 'kSecReturnRef', 'boolean');
      attributes.oneOf('kSecMatchLimit', 'kSecMatchLimitOne');
      attributes.finish();
      const { secret } = found(await this.hardware.keychain.find(query));
      return isWanted ? secret : null;
    });
  }

  SecItemDelete(map: Dictionary): Promise<Answer<null>> {
    return this.answer(async () => {
      this.hardware.faults.take('deleteItem');
      const attributes = new Attributes(map);
      const query = itemQuery(attributes);
      attributes.finish();
      found((await this.hardware.keychain.remove(query)) || undefined);
      return null;
    });
  }

  SecKeyCreateRandomKey(map: Dictionary): Promise<Answer<Key>> {
    return this.answer(async () => {
      this.hardware.faults.take('generateKey');
      const { bits, halves } = readParameters(map);
      // A process that ended meanwhile must not store anything any more.
      const pair = await this.app.outlive(this.hardware.generateKeyPair(bits));
      const secretOf = (half: Half) => (half.class === 'privateKey' ? pair : publicHalf(pair));
      if (halves.length > 0)
        await this.hardware.keychain.add(halves.map((half) => ({ ...half, secret: secretOf(half) })));
      return pair;
    });
  }

  SecKeyCopyPublicKey(key: Key): Key {
    return publicHalf(key);
  }

  SecKeyCopyExternalRepresentation(key: Key): Promise<Answer<Uint8Array>> {
    return this.answer(async () => {
      this.hardware.faults.take('exportKey');
      return externalRepresentation(key);
    });
  }

  SecKeyGetBlockSize(key: Key): number {
    return blockSize(key);
  }

  SecKeyCreateSignature(key: Key, data: Uint8Array<ArrayBuffer>): Promise<Answer<Uint8Array>> {
    return this.answer(async () => {
      this.hardware.faults.take('sign');
      return sign(key, data);
    });
  }

  SecKeyVerifySignature(
    key: Key,
    data: Uint8Array<ArrayBuffer>,
    signature: Uint8Array<ArrayBuffer>,
  ): Promise<Answer<void>> {
    return this.answer(async () => {
      this.hardware.faults.take('verify');
      return verify(key, data, signature);
    });
  }

  SecCertificateCreateWithData(data: Uint8Array): Certificate | null {
    return certificateOf(data);
  }

  SecTrustCopyKey(certificate: Certificate): Key | null {
    return keyOf(certificate);
  }

  private answer<T>(operation: () => Promise<T>): Promise<Answer<T>> {
    return this.app.outlive(answer(operation));
  }
}
