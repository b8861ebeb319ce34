import type { Check } from '../check.js';
import type { Context } from '../context.js';
import { toBase64, toPEM } from '../encoding.js';
import { holds, rejected, resolved, same } from '../outcome.js';
import { people } from '../people.js';

const { enrolled, nobody } = people;

/** The 25 characters with the Unicode property White_Space, and U+200B. */
export const whiteSpace = [
  0x9, 0xa, 0xb, 0xc, 0xd, 0x20, 0x85, 0xa0, 0x1680, 0x2000, 0x2001, 0x2002, 0x2003, 0x2004, 0x2005, 0x2006, 0x2007,
  0x2008, 0x2009, 0x200a, 0x200b, 0x2028, 0x2029, 0x202f, 0x205f, 0x3000,
];

/** Characters that look like white space and are not in the set. */
const notWhiteSpace = [0x180e, 0x200c, 0x200d, 0x2060, 0xfeff];

const codePoint = (character: number): string => `U+${character.toString(16).toUpperCase().padStart(4, '0')}`;

const base64PEM = (base64: string): string => `-----BEGIN CERTIFICATE-----\n${base64}\n-----END CERTIFICATE-----\n`;

/** Whether the plugin takes `certPem` for the enrolled person, and keeps it if it does. */
async function takes({ call }: Context, certPem: string, what: string): Promise<void> {
  same(await call('storeCertificate', { nationalCode: enrolled, certPem }), resolved({ stored: true }), what);
  same(await call('getCertificate', { nationalCode: enrolled }), resolved({ certPem }), `The slot after ${what}`);
}

async function refuses({ call }: Context, certPem: string, what: string): Promise<void> {
  const options = { nationalCode: enrolled, certPem };
  same(await call('storeCertificate', options), rejected('Certificate is not valid'), what);
}

/** `der` with bytes behind it, so many that its base64 needs no padding: nothing else may stand before other base64. */
function withoutPadding(der: Uint8Array): Uint8Array {
  return Uint8Array.from([...der, ...new Uint8Array((3 - (der.length % 3)) % 3)]);
}

export const certificateChecks: Check[] = [
  {
    name: 'storeCertificate: rejects "Provide certPem" unless that is a string with something in it',
    run: async ({ call }) => {
      for (const certPem of [undefined, null, '', 1, true, [], {}]) {
        const options = { nationalCode: enrolled, certPem };
        same(await call('storeCertificate', options), rejected('Provide certPem'), JSON.stringify(options));
      }
    },
  },
  {
    name: 'storeCertificate: looks for the key before it reads the certificate',
    run: async ({ call }) => {
      const options = { nationalCode: nobody, certPem: 'not a certificate' };
      same(await call('storeCertificate', options), rejected('Certificate is not valid (key missing)'));
    },
  },
  {
    name: "storeCertificate: refuses a certificate for another person's key",
    run: async (context) => {
      await refuses(context, context.otherCertificate, "another person's certificate");
    },
  },
  {
    name: 'storeCertificate: leaves the slot as it was when it refuses',
    run: async (context) => {
      await takes(context, toPEM('CERTIFICATE', context.certificate), 'the certificate');
      await context.call('storeCertificate', { nationalCode: enrolled, certPem: context.otherCertificate });
      const certPem = toPEM('CERTIFICATE', context.certificate);
      same(await context.call('getCertificate', { nationalCode: enrolled }), resolved({ certPem }), 'The slot');
    },
  },
  {
    name: 'storeCertificate: resolves with exactly { stored: true }, and keeps the string as it is',
    run: async (context) => {
      const pem = toPEM('CERTIFICATE', context.certificate);
      await takes(context, `\ufeff${pem}`.slice(1), 'a PEM text');
      await takes(context, pem.replaceAll('\n', '\r\n'), 'lines that end with CR LF');
    },
  },
  {
    name: 'storeCertificate: takes the bare base64 of a certificate',
    run: async (context) => {
      await takes(context, toBase64(context.certificate), 'bare base64');
    },
  },
  {
    name: 'storeCertificate: drops each of the 26 white-space characters anywhere in the text',
    run: async (context) => {
      const base64 = toBase64(context.certificate);
      holds(whiteSpace.length === 26, 'The list of white space is not complete.');
      for (const character of whiteSpace) {
        const space = String.fromCharCode(character);
        const text = `${space}${base64PEM(`${base64.slice(0, 10)}${space}${base64.slice(10)}`)}${space}`;
        await takes(context, text, codePoint(character));
      }
    },
  },
  {
    name: 'storeCertificate: does not take U+180E, U+200C, U+200D, U+2060 or U+FEFF for white space',
    run: async (context) => {
      const base64 = toBase64(context.certificate);
      for (const character of notWhiteSpace) {
        const text = base64PEM(`${base64.slice(0, 10)}${String.fromCharCode(character)}${base64.slice(10)}`);
        await refuses(context, text, codePoint(character));
      }
    },
  },
  {
    name: 'storeCertificate: removes markers anywhere, however often',
    run: async (context) => {
      const marker = '-----BEGIN CERTIFICATE-----';
      const base64 = toBase64(context.certificate);
      await takes(context, `${marker}${marker}${base64.slice(0, 8)}${marker}${base64.slice(8)}`, 'four markers');
    },
  },
  {
    name: 'storeCertificate: refuses markers in lower case, and words around the markers',
    run: async (context) => {
      const pem = toPEM('CERTIFICATE', context.certificate);
      await refuses(
        context,
        pem.toLowerCase().replace(/\n.*\n/s, `\n${toBase64(context.certificate)}\n`),
        'lower case',
      );
      await refuses(context, `Certificate: 1\n${pem}`, 'words before the certificate');
    },
  },
  {
    name: 'storeCertificate: ignores bytes that follow the certificate',
    run: async (context) => {
      const { certificate } = context;
      await takes(context, toPEM('CERTIFICATE', Uint8Array.from([...certificate, 0, 1, 2, 3])), 'four bytes more');
    },
  },
  {
    name: 'storeCertificate: takes the first of two joined certificates',
    run: async (context) => {
      const first = toPEM('CERTIFICATE', withoutPadding(context.certificate));
      await takes(context, first + context.otherCertificate, "another person's certificate behind it");
      const second = toPEM('CERTIFICATE', context.certificate);
      const other = Uint8Array.from(atob(context.otherCertificate.replace(/-----[A-Z ]+-----|\s/g, '')), (c) =>
        c.charCodeAt(0),
      );
      await refuses(context, toPEM('CERTIFICATE', withoutPadding(other)) + second, 'the same in the other order');
    },
  },
  {
    name: 'storeCertificate: refuses bytes in front of a certificate, and one that is cut',
    run: async (context) => {
      const { certificate } = context;
      await refuses(context, toPEM('CERTIFICATE', Uint8Array.from([0, ...certificate])), 'a byte in front');
      await refuses(context, toPEM('CERTIFICATE', certificate.slice(0, -1)), 'a certificate without its last byte');
      await refuses(context, toPEM('CERTIFICATE', certificate.slice(0, 64)), 'a certificate cut after 64 bytes');
    },
  },
  {
    name: 'getCertificate: resolves with exactly { certPem }, null while the slot is empty',
    run: async ({ call }) => {
      await call('deleteKey', { nationalCode: nobody });
      same(await call('getCertificate', { nationalCode: enrolled }), resolved({ certPem: null }));
    },
  },
  {
    name: 'getCertificate: returns the one certificate to whoever asks',
    run: async ({ call, certificate }) => {
      const certPem = toPEM('CERTIFICATE', certificate);
      await call('storeCertificate', { nationalCode: enrolled, certPem });
      for (const nationalCode of [enrolled, nobody, '']) {
        same(await call('getCertificate', { nationalCode }), resolved({ certPem }), JSON.stringify(nationalCode));
      }
    },
  },
];
