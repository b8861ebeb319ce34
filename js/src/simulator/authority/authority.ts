import {
  BitString,
  Boolean,
  Constructed,
  GeneralizedTime,
  Integer,
  Null,
  ObjectIdentifier,
  OctetString,
  Primitive,
  Sequence,
  UTCTime,
  fromBER,
} from 'asn1js';
import type { BaseBlock } from 'asn1js';

import type { CertificateOptions } from '../definitions.js';

import { nameOf } from './names.js';
import { checkedCertificateOptions } from './options.js';

const rsa = { name: 'RSASSA-PKCS1-v1_5', hash: 'SHA-256' };
const ecdsa = { name: 'ECDSA', namedCurve: 'P-256', hash: 'SHA-256' };

const oid = {
  ecdsaWithSHA256: '1.2.840.10045.4.3.2',
  rsaEncryption: '1.2.840.113549.1.1.1',
  extensionRequest: '1.2.840.113549.1.9.14',
  subjectKeyIdentifier: '2.5.29.14',
  keyUsage: '2.5.29.15',
  basicConstraints: '2.5.29.19',
  authorityKeyIdentifier: '2.5.29.35',
};

const aDay = 24 * 60 * 60 * 1000;
const aYear = 365 * aDay;

/** The authority's own certificate is valid whenever one that it issues may be. */
const always = [new Date(Date.UTC(2000, 0, 1)), new Date(Date.UTC(2099, 11, 31))] as const;

const sequence = (...value: BaseBlock[]): Sequence => new Sequence({ value });
const explicit = (tagNumber: number, ...value: BaseBlock[]): Constructed =>
  new Constructed({ idBlock: { tagClass: 3, tagNumber }, value });
const der = (block: BaseBlock): Uint8Array<ArrayBuffer> => new Uint8Array(block.toBER());

/** A time as RFC 5280 wants it: UTCTime up to 2049, GeneralizedTime afterwards. */
function timeOf(valueDate: Date): BaseBlock {
  const whole = new Date(Math.floor(valueDate.getTime() / 1000) * 1000);
  return whole.getUTCFullYear() < 2050 ? new UTCTime({ valueDate: whole }) : new GeneralizedTime({ valueDate: whole });
}

function extension(id: string, isCritical: boolean, value: BaseBlock): Sequence {
  return sequence(
    new ObjectIdentifier({ value: id }),
    ...(isCritical ? [new Boolean({ value: true })] : []),
    new OctetString({ valueHex: value.toBER() }),
  );
}

const signatureAlgorithm = (): Sequence => sequence(new ObjectIdentifier({ value: oid.ecdsaWithSHA256 }));

/** A number of 16 bytes that is positive and has no byte too many. */
function serialNumber(): Integer {
  const bytes = crypto.getRandomValues(new Uint8Array(16));
  bytes[0] = (bytes[0] & 0x3f) | 0x40;
  return new Integer({ valueHex: bytes.buffer });
}

/** A non-negative number in the fewest bytes. */
function integerOf(bytes: Uint8Array): Integer {
  const first = bytes.findIndex((byte) => byte !== 0);
  const digits = first === -1 ? new Uint8Array(1) : bytes.slice(first);
  return new Integer({ valueHex: (digits[0] & 0x80 ? Uint8Array.of(0, ...digits) : digits).buffer });
}

/** An RSA key that nobody has: the modulus is a random odd number of 2048 bits. */
function strangersKey(): Sequence {
  const modulus = crypto.getRandomValues(new Uint8Array(256));
  modulus[0] |= 0x80;
  modulus[255] |= 1;
  const key = sequence(integerOf(modulus), new Integer({ value: 65537 }));
  return sequence(
    sequence(new ObjectIdentifier({ value: oid.rsaEncryption }), new Null()),
    new BitString({ valueHex: key.toBER() }),
  );
}

function toPEM(certificate: Uint8Array): string {
  const base64 = btoa(String.fromCharCode(...certificate));
  return `-----BEGIN CERTIFICATE-----\n${base64.replace(/.{1,64}/g, '$&\n')}-----END CERTIFICATE-----\n`;
}

function bytesOf(request: string): Uint8Array<ArrayBuffer> {
  const base64 = request.replace(/-----(BEGIN|END) (NEW )?CERTIFICATE REQUEST-----|\s/g, '');
  return Uint8Array.from(atob(base64), (character) => character.charCodeAt(0));
}

interface Request {
  subject: BaseBlock;
  publicKey: BaseBlock;
  extensions: BaseBlock[];
}

const childrenOf = (block: BaseBlock): BaseBlock[] => (block.valueBlock as unknown as { value: BaseBlock[] }).value;

/** Returns the extensions that the attributes of a request ask for (RFC 2985). */
function requestedExtensions(attributes: BaseBlock | undefined): BaseBlock[] {
  for (const attribute of attributes ? childrenOf(attributes) : []) {
    const [type, values] = childrenOf(attribute);
    if (type.valueBlock.toString() === oid.extensionRequest) return childrenOf(childrenOf(values)[0]);
  }
  return [];
}

/** Reads a request (RFC 2986). Throws a TypeError unless it is one that is signed with the key that it holds. */
async function read(request: string): Promise<Request> {
  try {
    const [info, , signature] = childrenOf(fromBER(bytesOf(request)).result);
    const [, subject, publicKey, attributes] = childrenOf(info);
    const key = await crypto.subtle.importKey('spki', der(publicKey), rsa, false, ['verify']);
    const bits = (signature as BitString).valueBlock.valueHexView as Uint8Array<ArrayBuffer>;
    const signed = info.valueBeforeDecodeView as Uint8Array<ArrayBuffer>;
    if (!(await crypto.subtle.verify(rsa, key, bits, signed))) throw new Error('its signature does not verify');
    return { subject, publicKey, extensions: requestedExtensions(attributes) };
  } catch (error) {
    throw new TypeError(
      `issue takes a request as createCSR makes it, and cannot read this one: ${(error as Error).message}.`,
    );
  }
}

/** The identifier of a key: a hash of its bits (RFC 5280). */
async function identifierOf(publicKey: BaseBlock): Promise<ArrayBuffer> {
  const [, bits] = childrenOf(publicKey) as [BaseBlock, BitString];
  return crypto.subtle.digest('SHA-1', bits.valueBlock.valueHexView as Uint8Array<ArrayBuffer>);
}

/**
 * An authority for tests, with a key of its own, which nobody trusts. It issues certificates as an authority would, so
 * that a test can enrol somebody without a server, and the ones that an app has to cope with.
 */
export class TestAuthority {
  private constructor(
    private readonly key: CryptoKey,
    private readonly name: Sequence,
    private readonly identifier: ArrayBuffer,
    private own: string,
  ) {}

  /** Makes an authority. Its key is an EC key, which takes no time. */
  static async create(): Promise<TestAuthority> {
    const { privateKey, publicKey } = await crypto.subtle.generateKey(ecdsa, false, ['sign', 'verify']);
    const info = fromBER(await crypto.subtle.exportKey('spki', publicKey)).result;
    const name = nameOf({ CN: 'Test authority of kavrel-crypto' });
    const authority = new TestAuthority(privateKey, name, await identifierOf(info), '');
    authority.own = await authority.certify(name, info, always, [
      extension(oid.basicConstraints, true, sequence(new Boolean({ value: true }))),
      // keyCertSign and cRLSign
      extension(oid.keyUsage, true, new BitString({ valueHex: Uint8Array.of(0x06).buffer, unusedBits: 1 })),
    ]);
    return authority;
  }

  /** The authority's own certificate in PEM, to check a chain with. */
  get certificate(): string {
    return this.own;
  }

  /**
   * Issues a certificate for a request, which is base64 as `createCSR` returns it, or PEM. It has the request's subject,
   * key and extensions, and is valid from yesterday, or from the day before `notAfter`, on. Resolves with PEM.
   *
   * Rejects with a `TypeError` for a request that is not signed with its own key, and for options that it does not know.
   */
  async issue(csr: string, options: CertificateOptions = {}): Promise<string> {
    const {
      notAfter = new Date(Date.now() + aYear),
      subject,
      forAnotherKey,
      withChain,
    } = checkedCertificateOptions(options);
    const request = await read(csr);
    const notBefore = new Date(Math.min(Date.now(), notAfter.getTime()) - aDay);
    const certificate = await this.certify(
      subject ? nameOf(subject) : request.subject,
      forAnotherKey ? strangersKey() : request.publicKey,
      [notBefore, notAfter],
      request.extensions,
    );
    return withChain ? certificate + this.own : certificate;
  }

  private async certify(
    subject: BaseBlock,
    publicKey: BaseBlock,
    [notBefore, notAfter]: readonly [Date, Date],
    extensions: BaseBlock[],
  ): Promise<string> {
    const identifier = new OctetString({ valueHex: await identifierOf(publicKey) });
    const issuer = new Primitive({ idBlock: { tagClass: 3, tagNumber: 0 }, valueHex: this.identifier });
    const information = sequence(
      explicit(0, new Integer({ value: 2 })),
      serialNumber(),
      signatureAlgorithm(),
      this.name,
      sequence(timeOf(notBefore), timeOf(notAfter)),
      subject,
      publicKey,
      explicit(
        3,
        sequence(
          extension(oid.subjectKeyIdentifier, false, identifier),
          extension(oid.authorityKeyIdentifier, false, sequence(issuer)),
          ...extensions,
        ),
      ),
    );
    const signature = new Uint8Array(await crypto.subtle.sign(ecdsa, this.key, der(information)));
    // WebCrypto gives the two numbers of the signature as they are, and a certificate has them in DER (RFC 3279).
    const [r, s] = [signature.slice(0, 32), signature.slice(32)].map(integerOf);
    const bits = new BitString({ valueHex: sequence(r, s).toBER() });
    return toPEM(der(sequence(information, signatureAlgorithm(), bits)));
  }
}
