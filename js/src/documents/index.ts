export type { Bytes } from './encoding.js';
export type { CMSOptions } from './cms.js';
export { signCMS } from './cms.js';
export type { JWSOptions } from './jws.js';
export { signJWS } from './jws.js';
export type { Signer } from './signer.js';
export { deviceSigner } from './signer.js';
