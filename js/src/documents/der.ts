import type { OwnBytes } from './encoding.js';

/** An element of DER (X.690). */
export interface Element {
  tag: number;
  der: OwnBytes;
  content: OwnBytes;
}

export const tags = { integer: 0x02, octetString: 0x04, sequence: 0x30, set: 0x31, explicit0: 0xa0 };

/** Returns the element at the start of `data`. Throws if there is no whole one. */
function elementOf(data: OwnBytes): Element {
  let header = 2;
  let length = data[1];
  if (length >= 0x80) {
    const octets = data.subarray(header, (header += length - 0x80));
    if (octets.length < 1 || octets.length > 4) throw new RangeError('This is no length in DER.');
    length = octets.reduce((length, octet) => length * 0x100 + octet, 0);
  }
  const der = data.subarray(0, header + length);
  if (der.length !== header + length) throw new RangeError('The element goes beyond the end.');
  return { tag: data[0], der, content: der.subarray(header) };
}

/** Returns the element at the start of `data`, which has to be constructed, and the elements in it. */
export function constructedOf(data: OwnBytes, tag: number): Element & { elements: Element[] } {
  const element = elementOf(data);
  if (element.tag !== tag) throw new RangeError('This is another element.');
  const elements: Element[] = [];
  for (let rest = element.content; rest.length > 0; rest = rest.subarray(elements[elements.length - 1].der.length)) {
    elements.push(elementOf(rest));
  }
  return { ...element, elements };
}

/** Returns an element in pieces, so that what is in it is copied once, when all of them are joined. */
export function elementOfPieces(tag: number, ...pieces: OwnBytes[]): OwnBytes[] {
  const length = pieces.reduce((length, piece) => length + piece.length, 0);
  const octets: number[] = [];
  for (let rest = length; rest > 0; rest = Math.floor(rest / 0x100)) octets.unshift(rest % 0x100);
  const header = length < 0x80 ? [tag, length] : [tag, 0x80 + octets.length, ...octets];
  return [new Uint8Array(header), ...pieces];
}

export function joined(pieces: OwnBytes[]): OwnBytes {
  const bytes = new Uint8Array(pieces.reduce((length, piece) => length + piece.length, 0));
  let end = 0;
  for (const piece of pieces) {
    bytes.set(piece, end);
    end += piece.length;
  }
  return bytes;
}
