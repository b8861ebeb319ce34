import { expect, test } from 'vitest';

import { Attributes } from '../../src/simulator/device/attributes.js';

const read = (map: Record<string, unknown>) => {
  const attributes = new Attributes(map);
  const type = attributes.oneOf('kSecAttrKeyType', 'kSecAttrKeyTypeRSA');
  const bits = attributes.require('kSecAttrKeySizeInBits', 'number');
  attributes.ignore('kSecReturnRef');
  attributes.finish();
  return { type, bits, tag: attributes.tag() };
};

test('a query is read entry by entry', () => {
  const query = { kSecAttrKeyType: 'kSecAttrKeyTypeRSA', kSecAttrKeySizeInBits: 2048, kSecReturnRef: true };
  expect(read(query)).toEqual({ type: 'kSecAttrKeyTypeRSA', bits: 2048, tag: undefined });
  expect(read({ kSecAttrKeySizeInBits: 0 })).toEqual({ type: undefined, bits: 0, tag: undefined });
});

test.each([
  ['a value of another type', { kSecAttrKeySizeInBits: '2048' }, 'kSecAttrKeySizeInBits has a value of another type'],
  ['a constant of another entry', { kSecAttrKeyType: 'kSecClassKey' }, 'kSecAttrKeyType has an unknown value'],
  ['an entry too few', {}, 'kSecAttrKeySizeInBits is missing'],
  ['an entry too many', { kSecAttrKeySizeInBits: 2048, kSecClass: 'kSecClassKey' }, 'kSecClass does not belong here'],
])('a query with %s is refused', (_, query, words) => {
  expect(() => read(query)).toThrow(words);
});
