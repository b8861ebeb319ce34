import type { Bytes } from './encoding.js';
import { bytesOf, toBase64, toBase64url } from './encoding.js';
import type { Signer } from './signer.js';
import { checked } from './signer.js';

export interface JWSOptions {
  /**
   * Members of the protected header beside "alg" and "x5c", such as "typ" or "kid". It may hold an "x5c" of its own, with
   * the chain, which has to begin with the signer's certificate.
   */
  header?: Record<string, unknown>;

  /** Leaves the payload out of the result (RFC 7515, appendix F). The default is false. */
  detached?: boolean;
}

const utf8 = new TextEncoder();

/**
 * Signs `payload`, bytes or a text that is taken as UTF-8, into a JWS in compact form (RFC 7515) with the algorithm RS256
 * and the signer's certificate in "x5c".
 *
 * Rejects as the signer does, if the header names another algorithm or another certificate, or if the signature that
 * comes back is not one by the certificate's key.
 */
export async function signJWS(
  payload: string | Bytes,
  signer: Signer,
  { header = {}, detached = false }: JWSOptions = {},
): Promise<string> {
  const { certificate, sign } = await checked(signer);
  const own = { alg: 'RS256', x5c: [toBase64(certificate.der)] };
  const merged = { ...own, ...header };
  if (merged.alg !== own.alg) {
    throw new Error(`The header names the algorithm ${JSON.stringify(merged.alg)}, and the signature is RS256.`);
  }
  if (!Array.isArray(merged.x5c) || merged.x5c[0] !== own.x5c[0]) {
    throw new Error(`The "x5c" in the header does not begin with the signer's certificate.`);
  }
  if ('b64' in header) throw new Error('The header has "b64", which changes what is signed and is not supported.');

  const protectedHeader = toBase64url(utf8.encode(JSON.stringify(merged)));
  const encoded = toBase64url(typeof payload === 'string' ? utf8.encode(payload) : bytesOf(payload));
  const signature = await sign(utf8.encode(`${protectedHeader}.${encoded}`));
  return `${protectedHeader}.${detached ? '' : encoded}.${toBase64url(signature)}`;
}
