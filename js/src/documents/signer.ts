import { DigitalSign } from '../index.js';

import type { Certificate } from './certificate.js';
import { certificatesOf } from './certificate.js';
import { webCrypto } from './crypto.js';
import { constructedOf, tags } from './der.js';
import type { OwnBytes } from './encoding.js';
import { bytesOf, fromBase64, isBytes, toBase64, toBase64url } from './encoding.js';

/** Whoever signs: a person on a device, or a key that a test or a server has. */
export interface Signer {
  /** The X.509 certificate in PEM, for an RSA key. Of several, the first one is the signer's. */
  readonly certificate: string;

  /** Returns the signature of `bytes` with the certificate's key: RSASSA-PKCS1-v1_5 over SHA-256. */
  sign(bytes: Uint8Array): Promise<Uint8Array>;
}

/**
 * Returns the person as a signer, with the certificate that the device keeps. Each signature asks for Face ID or Touch
 * ID, so make one at a time.
 *
 * Rejects as `getCertificate` does, or if the device keeps no certificate. Its `sign` rejects as `signDigest` does.
 */
export async function deviceSigner(nationalCode: string): Promise<Signer> {
  const { certPem } = await DigitalSign.getCertificate({ nationalCode });
  if (certPem === null) throw new Error('The device keeps no certificate: have one issued and store it first.');
  return {
    certificate: certPem,
    async sign(bytes) {
      const { signatureB64 } = await DigitalSign.signDigest({ nationalCode, digestB64: toBase64(bytes) });
      return fromBase64(signatureB64);
    },
  };
}

/** RS256, as WebCrypto calls it. */
const scheme = { name: 'RSASSA-PKCS1-v1_5', hash: 'SHA-256' };

/** A signer whose answers are checked. */
export interface CheckedSigner {
  certificate: Certificate;

  /** Returns the signature of `message`. Rejects if it is not one by the certificate's key. */
  sign(message: OwnBytes): Promise<OwnBytes>;
}

/**
 * Returns the RSA key in a SubjectPublicKeyInfo. OpenSSL, below Node.js, reads it from its numbers in an eighth of the time
 * that it takes to find out what a SubjectPublicKeyInfo holds. Throws if it is no key that can be used.
 */
function importKey(subjectPublicKeyInfo: OwnBytes, subtle: SubtleCrypto): Promise<CryptoKey> {
  const [, bits] = constructedOf(subjectPublicKeyInfo, tags.sequence).elements;
  const [modulus, exponent] = constructedOf(bits.content.subarray(1), tags.sequence).elements;
  const n = modulus.content[0] === 0 ? modulus.content.subarray(1) : modulus.content;
  const key = { kty: 'RSA', n: toBase64url(n), e: toBase64url(exponent.content) };
  return subtle.importKey('jwk', key, scheme, false, ['verify']);
}

/** Reads the signer's certificate. Rejects, before anything is signed, if that or its key cannot be used. */
export async function checked(signer: Signer): Promise<CheckedSigner> {
  const [certificate] = certificatesOf(signer.certificate, `The signer's certificate`);
  const subtle = webCrypto();
  let key: CryptoKey;
  try {
    key = await importKey(certificate.subjectPublicKeyInfo, subtle);
  } catch {
    throw new Error(`The key in the signer's certificate is not an RSA key that can be used.`);
  }
  return {
    certificate,
    async sign(message) {
      const answer: unknown = await signer.sign(message);
      if (!isBytes(answer)) throw new Error('The signer did not answer with the bytes of a signature.');
      const signature = bytesOf(answer);
      if (await subtle.verify(scheme.name, key, signature, message)) return signature;
      throw new Error(`The signature is not one by the key in the signer's certificate, which may be for another key.`);
    },
  };
}
