import { expect, test } from 'vitest';

import { isRSAPublicKey } from '../../src/simulator/keys/certificate.js';

test.each([
  [true, 'two numbers', '3006 020105 020103'],
  [true, 'a zero that keeps a number from being negative', '3007 02020085 020103'],
  [false, 'a zero too many', '3007 02020075 020103'],
  [false, 'a negative number', '3006 020185 020103'],
  [false, 'a number without a byte', '3005 0200 020103'],
  [false, 'one number', '3003 020105'],
  [false, 'three numbers', '3009 020105 020103 020101'],
  [false, 'another type than a number', '3006 020105 040103'],
  [false, 'a length that is longer than it need be', '308106 020105 020103'],
  [false, 'something behind it', '3006 020105 020103 00'],
  [false, 'its end missing', '3006 020105 0201'],
])('that a key is an RSAPublicKey is %s with %s', (expected, _, hex) => {
  expect(isRSAPublicKey(Uint8Array.from(Buffer.from(hex.replaceAll(' ', ''), 'hex')))).toBe(expected);
});
