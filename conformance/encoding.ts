/** Base64, PEM and hexadecimal, as the checks read and write them. */

export function toBase64(bytes: Uint8Array): string {
  return btoa(Array.from(bytes, (byte) => String.fromCharCode(byte)).join(''));
}

/** Throws where `text` is not base64. */
export function fromBase64(text: string): Uint8Array<ArrayBuffer> {
  return Uint8Array.from(atob(text), (character) => character.charCodeAt(0));
}

export function toHex(bytes: Uint8Array): string {
  return Array.from(bytes, (byte) => byte.toString(16).padStart(2, '0')).join(' ');
}

/** `der` as PEM (RFC 7468): lines of 64 characters under the label. */
export function toPEM(label: string, der: Uint8Array): string {
  const lines = toBase64(der).match(/.{1,64}/g) ?? [];
  return [`-----BEGIN ${label}-----`, ...lines, `-----END ${label}-----`, ''].join('\n');
}

/** The bytes under the PEM label. Throws where there are none. */
export function fromPEM(label: string, pem: string): Uint8Array<ArrayBuffer> {
  const body = pem.split(`-----BEGIN ${label}-----`)[1]?.split(`-----END ${label}-----`)[0];
  if (body === undefined) throw new Error(`There is no PEM block "${label}".`);
  return fromBase64(body.replace(/\s/g, ''));
}
