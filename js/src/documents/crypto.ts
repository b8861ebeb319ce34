import type { OwnBytes } from './encoding.js';

/** What is used of Node.js. */
interface Process {
  getBuiltinModule?(name: 'node:crypto'): {
    createHash(algorithm: string): { update(data: Uint8Array): { digest(): OwnBytes } };
  };
}

/** Returns WebCrypto, which a page has only in a secure context. */
export function webCrypto(): SubtleCrypto {
  if (globalThis.crypto?.subtle) return crypto.subtle;
  throw new Error('There is no WebCrypto here: serve the page from https or from localhost.');
}

/** Returns the SHA-256 of `data`. Node.js computes it in place, where WebCrypto makes a copy of the data first. */
export async function sha256(data: OwnBytes): Promise<OwnBytes> {
  const node = (globalThis as { process?: Process }).process?.getBuiltinModule?.('node:crypto');
  return node
    ? node.createHash('sha256').update(data).digest()
    : new Uint8Array(await webCrypto().digest('SHA-256', data));
}
