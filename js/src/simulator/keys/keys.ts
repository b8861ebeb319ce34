import type { PrivateKeyJWK } from '../definitions.js';
import { Failure, status } from '../failure.js';

import type { Certificate } from './certificate.js';
import { isRSAPublicKey, publicKeyOf } from './certificate.js';

const scheme = 'RSASSA-PKCS1-v1_5';
const rsaEncryption = '1.2.840.113549.1.1.1';

/** The public half of a pair, or a certificate's key. */
export interface PublicKey {
  /** The PKCS #1 RSAPublicKey in DER (RFC 8017). */
  rsaPublicKey: Uint8Array;

  /** The key to verify with. A certificate's key has none, since nothing is ever verified with it. */
  publicKey?: CryptoKey;
}

/** A pair that WebCrypto made. The private half never leaves WebCrypto. */
export interface KeyPair extends PublicKey {
  privateKey: CryptoKey;
}

export type Key = KeyPair | PublicKey;

const hash = 'SHA-256';

export async function generateKeyPair(bits: number): Promise<KeyPair> {
  const algorithm = { name: scheme, modulusLength: bits, publicExponent: new Uint8Array([1, 0, 1]), hash };
  const { privateKey, publicKey } = await crypto.subtle
    .generateKey(algorithm, false, ['sign', 'verify'])
    .catch((error) => {
      throw new Failure(status.param, `The key cannot be generated (${error.message}).`);
    });
  return pairOf(privateKey, publicKey);
}

async function pairOf(privateKey: CryptoKey, publicKey: CryptoKey): Promise<KeyPair> {
  const info = new Uint8Array(await crypto.subtle.exportKey('spki', publicKey));
  return { privateKey, publicKey, rsaPublicKey: publicKeyOf(info) };
}

/** Returns the pair of which `jwk` is the private half. Rejects unless it is an RSA key whose numbers belong together. */
export async function importKeyPair({ n, e, d, p, q, dp, dq, qi }: PrivateKeyJWK): Promise<KeyPair> {
  const algorithm = { name: scheme, hash };
  const numbers = { kty: 'RSA', n, e };
  const privateKey = await crypto.subtle.importKey('jwk', { ...numbers, d, p, q, dp, dq, qi }, algorithm, false, [
    'sign',
  ]);
  const pair = await pairOf(privateKey, await crypto.subtle.importKey('jwk', numbers, algorithm, true, ['verify']));
  const data = new Uint8Array(1);
  await verify(publicHalf(pair), data, await sign(pair, data));
  return pair;
}

/** Returns the public half of a pair, or a public key itself. */
export function publicHalf({ rsaPublicKey, publicKey }: Key): PublicKey {
  return { rsaPublicKey, publicKey };
}

/** Returns the key in `certificate`, or null if the platform cannot use such a key. */
export function keyOf({ algorithm, subjectPublicKey }: Certificate): PublicKey | null {
  return algorithm === rsaEncryption && isRSAPublicKey(subjectPublicKey) ? { rsaPublicKey: subjectPublicKey } : null;
}

function requirePublic(key: Key): PublicKey {
  if (!('privateKey' in key)) return key;
  throw new Failure(status.param, 'This takes a public key, and the key is a private one.');
}

export function externalRepresentation(key: Key): Uint8Array {
  return requirePublic(key).rsaPublicKey;
}

/** Returns the block size in bytes. */
export function blockSize({ publicKey }: Key): number {
  return publicKey ? (publicKey.algorithm as RsaHashedKeyAlgorithm).modulusLength / 8 : 0;
}

export async function sign(key: Key, data: Uint8Array<ArrayBuffer>): Promise<Uint8Array<ArrayBuffer>> {
  if ('privateKey' in key) return new Uint8Array(await crypto.subtle.sign(scheme, key.privateKey, data));
  throw new Failure(status.param, 'This takes a private key, and the key is a public one.');
}

type Data = Uint8Array<ArrayBuffer>;

/** Throws unless `signature` is the key's signature of `data`. */
export async function verify(key: Key, data: Data, signature: Data): Promise<void> {
  const { publicKey } = requirePublic(key);
  if (!publicKey || !(await crypto.subtle.verify(scheme, publicKey, signature, data))) {
    throw new Failure(status.verifyFailed, 'The signature does not verify.');
  }
}
