import {
  Any,
  BitString,
  Boolean,
  Choice,
  Constructed,
  GeneralizedTime,
  Integer,
  ObjectIdentifier,
  OctetString,
  Primitive,
  Repeated,
  Sequence,
  Set,
  UTCTime,
  compareSchema,
  fromBER,
} from 'asn1js';

type Element = ReturnType<typeof fromBER>['result'];

const contextSpecific = (tagNumber: number) => ({ optional: true, idBlock: { tagClass: 3, tagNumber } });
const algorithm = () => new Sequence({ value: [new ObjectIdentifier(), new Any({ optional: true })] });
const attribute = () => new Sequence({ value: [new ObjectIdentifier(), new Any()] });
const relativeName = () => new Set({ value: [new Repeated({ value: attribute() })] });
const name = () => new Sequence({ value: [new Repeated({ value: relativeName() })] });
const time = () => new Choice({ value: [new UTCTime(), new GeneralizedTime()] });
const extension = () =>
  new Sequence({ value: [new ObjectIdentifier(), new Boolean({ optional: true }), new OctetString()] });

/** SubjectPublicKeyInfo (RFC 5280). */
const subjectPublicKeyInfo = () =>
  new Sequence({ name: 'subjectPublicKeyInfo', value: [algorithm(), new BitString()] });

/** RSAPublicKey (RFC 8017). */
const rsaPublicKey = () => new Sequence({ value: [new Integer(), new Integer()] });

/** Certificate (RFC 5280). */
const certificate = () =>
  new Sequence({
    value: [
      new Sequence({
        value: [
          new Constructed({ ...contextSpecific(0), value: [new Integer()] }),
          new Integer(),
          algorithm(),
          name(),
          new Sequence({ value: [time(), time()] }),
          name(),
          subjectPublicKeyInfo(),
          new Primitive(contextSpecific(1)),
          new Primitive(contextSpecific(2)),
          new Constructed({
            ...contextSpecific(3),
            value: [new Sequence({ value: [new Repeated({ value: extension() })] })],
          }),
        ],
      }),
      algorithm(),
      new BitString(),
    ],
  });

const universal = 1;
const sequenceTag = 16;
const setTag = 17;

/** Returns the elements inside a constructed element. A primitive one has none. */
function childrenOf({ idBlock, valueBlock }: Element): Element[] {
  return idBlock.isConstructed ? (valueBlock as unknown as { value: Element[] }).value : [];
}

/** Whether `element` has a form that DER allows: no string is in pieces, and each BOOLEAN is 00 or FF. */
function isOfDERForm(element: Element): boolean {
  const { idBlock } = element;
  if (idBlock.tagClass === universal) {
    if (idBlock.isConstructed !== [sequenceTag, setTag].includes(idBlock.tagNumber)) return false;
    if (element instanceof Boolean && ![0x00, 0xff].includes(element.valueBlock.valueHexView[0])) return false;
  }
  return childrenOf(element).every(isOfDERForm);
}

/** Makes the lengths of `element` those of DER: definite, and as short as possible. */
function shortenLengths(element: Element): void {
  element.lenBlock.isIndefiniteForm = false;
  element.lenBlock.longFormUsed = false;
  childrenOf(element).forEach(shortenLengths);
}

/** Reads the element at the start of `data` as BER. The library throws at some times and strings that are malformed. */
function readBER(data: Uint8Array): { offset: number; result: Element } | null {
  try {
    const read = fromBER(data);
    return read.offset === -1 ? null : read;
  } catch {
    return null;
  }
}

/** Returns the element at the start of `data`, or null if it is not DER (X.690). The library accepts all of BER. */
function readDER(data: Uint8Array): Element | null {
  const read = readBER(data);
  if (!read || !isOfDERForm(read.result)) return null;
  shortenLengths(read.result);
  const anew = new Uint8Array(read.result.toBER());
  return anew.length === read.offset && anew.every((byte, index) => byte === data[index]) ? read.result : null;
}

/** The SubjectPublicKeyInfo of a certificate, the only part that is ever used. */
export interface Certificate {
  algorithm: string;
  subjectPublicKey: Uint8Array;
}

function read(data: Uint8Array, schema: Sequence): Certificate | null {
  const element = readDER(data);
  if (!element) return null;
  const { verified, result } = compareSchema(element, element, schema);
  if (!verified) return null;
  const [{ valueBlock: identifier }, bits] = childrenOf(result['subjectPublicKeyInfo']) as [Sequence, BitString];
  if (bits.valueBlock.unusedBits !== 0) return null; // a key consists of whole bytes
  return {
    algorithm: identifier.value[0].valueBlock.toString(),
    subjectPublicKey: bits.valueBlock.valueHexView,
  };
}

/** Returns the X.509 certificate in DER at the start of `data`, or null if there is none. What follows is ignored. */
export const certificateOf = (data: Uint8Array): Certificate | null => read(data, certificate());

/** Returns the key in a SubjectPublicKeyInfo that WebCrypto exported. */
export const publicKeyOf = (data: Uint8Array): Uint8Array => {
  const info = read(data, subjectPublicKeyInfo());
  if (!info) throw new TypeError('WebCrypto exported no SubjectPublicKeyInfo.');
  return info.subjectPublicKey;
};

/** Whether the content of an INTEGER is a number that is not negative, in as few bytes as DER has it. */
const isNatural = ([first, second = 0x80]: Uint8Array): boolean => first < 0x80 && (first > 0 || second >= 0x80);

/** Whether `data` is an RSAPublicKey in DER and nothing else. The library takes numbers and further elements as they come. */
export function isRSAPublicKey(data: Uint8Array): boolean {
  const element = readDER(data);
  if (element?.blockLength !== data.length || !compareSchema(element, element, rsaPublicKey()).verified) {
    return false;
  }
  const numbers = childrenOf(element) as Integer[];
  return numbers.length === 2 && numbers.every(({ valueBlock }) => isNatural(valueBlock.valueHexView));
}
