import { ObjectIdentifier, PrintableString, Sequence, Set, Utf8String } from 'asn1js';

/** The attributes of a distinguished name under their short names (RFC 4519). */
export const attributeTypes: Record<string, string> = {
  CN: '2.5.4.3',
  SN: '2.5.4.4',
  serialNumber: '2.5.4.5',
  C: '2.5.4.6',
  L: '2.5.4.7',
  ST: '2.5.4.8',
  O: '2.5.4.10',
  OU: '2.5.4.11',
  postalCode: '2.5.4.17',
  GN: '2.5.4.42',
};

/** The attributes that X.520 has as a PrintableString. */
const printable = ['C', 'serialNumber'];

/** Returns a distinguished name with the attributes, each in a set of its own, in their order. */
export function nameOf(attributes: Readonly<Record<string, string>>): Sequence {
  const relativeNames = Object.entries(attributes).map(([type, value]) => {
    const text = printable.includes(type) ? new PrintableString({ value }) : new Utf8String({ value });
    const attribute = new Sequence({ value: [new ObjectIdentifier({ value: attributeTypes[type] ?? type }), text] });
    return new Set({ value: [attribute] });
  });
  return new Sequence({ value: relativeNames });
}
