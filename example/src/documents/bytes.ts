/** What the text is made of, none of which is beyond Latin-1. */
export const latin1 = (text: string): Uint8Array<ArrayBuffer> =>
  Uint8Array.from(text, (character) => character.charCodeAt(0));

export const textOf = (bytes: Uint8Array): string => new TextDecoder('latin1').decode(bytes);

export function joined(parts: Uint8Array[]): Uint8Array<ArrayBuffer> {
  const bytes = new Uint8Array(parts.reduce((length, part) => length + part.length, 0));
  let end = 0;
  for (const part of parts) {
    bytes.set(part, end);
    end += part.length;
  }
  return bytes;
}
