/** As much of DER (X.690) as it takes to say what a request must look like. */

export type Bytes = number[];

/** A value of type `tag` with the given contents, joined: at most 32,767 bytes. */
export function der(tag: number, ...contents: Bytes[]): Bytes {
  const content = contents.flat();
  return [tag, ...length(content.length), ...content];
}

function length(count: number): Bytes {
  if (count < 0x80) return [count];
  return count < 0x100 ? [0x81, count] : [0x82, count >> 8, count & 0xff];
}

export const sequence = (...contents: Bytes[]): Bytes => der(0x30, ...contents);
export const setOf = (...contents: Bytes[]): Bytes => der(0x31, ...contents);
export const utf8String = (text: string): Bytes => der(0x0c, [...new TextEncoder().encode(text)]);
export const printableString = (text: string): Bytes => der(0x13, [...new TextEncoder().encode(text)]);

/** The bytes that `text` spells in hexadecimal. */
export const hex = (text: string): Bytes => (text.match(/\w\w/g) ?? []).map((byte) => parseInt(byte, 16));
