export function toHex(bytes: Uint8Array): string {
  return Array.from(bytes, (byte) => byte.toString(16).padStart(2, '0')).join(' ');
}

/** What `base64` stands for as PEM (RFC 7468): lines of 64 characters under the label. */
export function toPEM(label: string, base64: string): string {
  return `-----BEGIN ${label}-----\n${base64.replace(/.{1,64}/g, '$&\n')}-----END ${label}-----\n`;
}
