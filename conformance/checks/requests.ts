import { AsnConvert } from '@peculiar/asn1-schema';

import type { Check } from '../check.js';
import type { Context } from '../context.js';
import type { Bytes } from '../der.js';
import { hex, printableString, sequence, setOf, utf8String } from '../der.js';
import { fromBase64, toHex } from '../encoding.js';
import { holds, rejected, resolved, resultOf, same } from '../outcome.js';
import { identity, people } from '../people.js';
import { isSelfSigned, readRequest } from '../request.js';

const { enrolled, fresh } = people;

const userInfo = identity(enrolled);

async function request({ call }: Context, record: object = userInfo): Promise<string> {
  return String(resultOf(await call('createCSR', { userInfo: record })).csrPem);
}

/** A relative distinguished name with one attribute under 2.5.4. */
const attribute = (type: number, value: Bytes): Bytes => setOf(sequence([0x06, 0x03, 0x55, 0x04, type], value));

/** The subject that the record makes: seven attributes, in this order. */
const subject = sequence(
  attribute(0x08, utf8String(userInfo.provinceName)), // stateOrProvinceName
  attribute(0x07, utf8String(userInfo.city)), // localityName
  attribute(0x03, utf8String(userInfo.nationalCode)), // commonName
  attribute(0x04, utf8String(userInfo.enLastName)), // surname
  attribute(0x2a, utf8String(userInfo.enName)), // givenName
  attribute(0x05, printableString(userInfo.nationalCode)), // serialNumber
  attribute(0x11, printableString(userInfo.postalCode)), // postalCode
);

/** [0] attributes: one extensionRequest with extKeyUsage, critical: document signing and id-kp-clientAuth. */
const attributes = hex(`
  A0 35 30 33 06 09 2A 86 48 86 F7 0D 01 09 0E 31 26 30 24 30 22 06 03 55 1D 25 01 01 FF 04 18 30 16
  06 0A 2B 06 01 04 01 82 37 0A 03 0C 06 08 2B 06 01 05 05 07 03 02`);

const sha256WithRSAEncryption = hex('30 0D 06 09 2A 86 48 86 F7 0D 01 01 0B 05 00');

const bytes = (buffer: ArrayBuffer): string => toHex(new Uint8Array(buffer));
const spelled = (expected: Bytes): string => toHex(Uint8Array.from(expected));

export const requestChecks: Check[] = [
  {
    name: 'createCSR: rejects "userInfo required" unless that is an object',
    run: async ({ call }) => {
      for (const value of [undefined, null, '', 'person', 1, true, [userInfo]]) {
        const what = `userInfo ${JSON.stringify(value)}`;
        same(await call('createCSR', { userInfo: value }), rejected('userInfo required'), what);
      }
      same(await call('createCSR', { ...userInfo }), rejected('userInfo required'), 'Fields at the top level');
    },
  },
  {
    name: 'createCSR: rejects "invalid userInfo" where any of the fourteen fields is missing or not a string',
    run: async ({ call }) => {
      for (const field of Object.keys(userInfo)) {
        for (const value of [undefined, null, 1, false, {}, []]) {
          const options = { userInfo: { ...userInfo, [field]: value } };
          same(await call('createCSR', options), rejected('invalid userInfo'), `${field}: ${JSON.stringify(value)}`);
        }
      }
    },
  },
  {
    name: 'createCSR: rejects "nationalCode required" for an empty one',
    run: async ({ call }) => {
      same(await call('createCSR', { userInfo: identity('') }), rejected('nationalCode required'));
    },
  },
  {
    name: 'createCSR: resolves with exactly { csrPem }, one line of base64 without a header',
    run: async ({ call }) => {
      const result = resultOf(await call('createCSR', { userInfo }));
      same(Object.keys(result), ['csrPem'], 'The members');
      holds(/^[A-Za-z0-9+/]+={0,2}$/.test(String(result.csrPem)), 'csrPem is not one line of base64.');
      fromBase64(String(result.csrPem));
    },
  },
  {
    name: 'createCSR: ignores fields beyond the fourteen',
    run: async (context) => {
      same(await request(context, { ...userInfo, nickname: 'S' }), await request(context), 'The request');
    },
  },
  {
    name: 'createCSR: makes a key for a person who has none',
    run: async (context) => {
      await context.call('deleteKey', { nationalCode: fresh });
      await request(context, identity(fresh));
      same(await context.call('hasKey', { nationalCode: fresh }), resolved({ exists: true }), 'hasKey afterwards');
    },
  },
  {
    name: 'createCSR: keeps the key of a person who has one, and writes the same bytes twice',
    run: async (context) => {
      same(await request(context), await request(context), 'The second request');
    },
  },
  {
    name: 'createCSR: writes version 0 and the seven attributes in their order, each of its own type',
    run: async (context) => {
      const { certificationRequestInfo } = readRequest(await request(context));
      same(certificationRequestInfo.version, 0, 'The version');
      same(bytes(AsnConvert.serialize(certificationRequestInfo.subject)), spelled(subject), 'The subject');
    },
  },
  {
    name: 'createCSR: asks for the key purposes document signing and client authentication, critical',
    run: async (context) => {
      const information = readRequest(await request(context)).certificationRequestInfoRaw as ArrayBuffer;
      same(bytes(information.slice(-attributes.length)), spelled(attributes), 'The attributes');
    },
  },
  {
    name: 'createCSR: names sha256WithRSAEncryption, with NULL parameters',
    run: async (context) => {
      const { signatureAlgorithm } = readRequest(await request(context));
      same(bytes(AsnConvert.serialize(signatureAlgorithm)), spelled(sha256WithRSAEncryption), 'The algorithm');
    },
  },
  {
    name: 'createCSR: signs the request with the key that is in it',
    run: async (context) => {
      holds(await isSelfSigned(readRequest(await request(context))), 'The signature does not verify.');
    },
  },
];
