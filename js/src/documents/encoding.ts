/** Bytes, as whoever has them holds them. */
export type Bytes = ArrayBuffer | ArrayBufferView;

/** Bytes in memory of their own: in the words of recent compilers a Uint8Array<ArrayBuffer>, which older ones do not know. */
export type OwnBytes = ReturnType<Uint8ArrayConstructor['of']>;

export const isBytes = (value: unknown): value is Bytes => value instanceof ArrayBuffer || ArrayBuffer.isView(value);

/** The same bytes, not a copy. */
export function bytesOf(data: Bytes): OwnBytes {
  const view = ArrayBuffer.isView(data)
    ? new Uint8Array(data.buffer, data.byteOffset, data.byteLength)
    : new Uint8Array(data);
  return view as OwnBytes;
}

export function toBase64(bytes: Uint8Array): string {
  const pieces: string[] = [];
  // A call takes only so many arguments.
  for (let start = 0; start < bytes.length; start += 8192) {
    pieces.push(String.fromCharCode(...bytes.subarray(start, start + 8192)));
  }
  return btoa(pieces.join(''));
}

/** Throws where `text` is not base64. */
export function fromBase64(text: string): OwnBytes {
  const characters = atob(text);
  const bytes = new Uint8Array(characters.length);
  for (let index = 0; index < bytes.length; ++index) bytes[index] = characters.charCodeAt(index);
  return bytes;
}

export function toBase64url(bytes: Uint8Array): string {
  return toBase64(bytes).replaceAll('+', '-').replaceAll('/', '_').replace(/=+$/, '');
}
