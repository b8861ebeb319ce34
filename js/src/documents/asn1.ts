// Whatever needs the library for ASN.1, in a module of its own: an app that only makes tokens does without it.

import {
  Attribute,
  CMSVersion,
  CertificateSet,
  DigestAlgorithmIdentifier,
  DigestAlgorithmIdentifiers,
  EncapsulatedContentInfo,
  SignatureAlgorithmIdentifier,
  SignedData,
  SignerIdentifier,
  SignerInfo,
  SignerInfos,
  id_data,
  id_signedData,
} from '@peculiar/asn1-cms';
import { AsnConvert, AsnProp, AsnPropTypes, OctetString } from '@peculiar/asn1-schema';
import { Time } from '@peculiar/asn1-x509';
import { ObjectIdentifier, Primitive } from 'asn1js';

import type { OwnBytes } from './encoding.js';

const contentType = '1.2.840.113549.1.9.3';
const messageDigest = '1.2.840.113549.1.9.4';
const signingTime = '1.2.840.113549.1.9.5';
const signingCertificateV2 = '1.2.840.113549.1.9.16.2.47';

const sha256 = new DigestAlgorithmIdentifier({ algorithm: '2.16.840.1.101.3.4.2.1' });
const sha256WithRSAEncryption = new SignatureAlgorithmIdentifier({
  algorithm: '1.2.840.113549.1.1.11',
  parameters: null,
});

/** ESSCertIDv2 (RFC 5035). SHA-256 is the default of its algorithm, which DER leaves out. */
class ESSCertIDv2 {
  constructor(readonly certHash = new OctetString()) {}
}
AsnProp({ type: OctetString })(ESSCertIDv2.prototype, 'certHash');

class SigningCertificateV2 {
  constructor(readonly certs: ESSCertIDv2[]) {}
}
AsnProp({ type: ESSCertIDv2, repeated: 'sequence' })(SigningCertificateV2.prototype, 'certs');

/** ContentInfo with the SignedData as it is. The library's own takes an encoding, which it reads and encodes once more. */
class SignedContentInfo {
  readonly contentType = id_signedData;
  constructor(readonly content = new SignedData()) {}
}
AsnProp({ type: AsnPropTypes.ObjectIdentifier })(SignedContentInfo.prototype, 'contentType');
AsnProp({ type: SignedData, context: 0 })(SignedContentInfo.prototype, 'content');

/** A SEQUENCE that is encoded already. If the library read it and encoded it anew, it might not be the same bytes. */
class EncodedSequence {
  constructor(private readonly der: OwnBytes) {}

  toASN(): Primitive {
    const length = this.der[1] < 0x80 ? 1 : 1 + this.der[1] - 0x80;
    const sequence = new Primitive({
      idBlock: { tagClass: 1, tagNumber: 16 },
      valueHex: this.der.subarray(1 + length),
    });
    sequence.idBlock.isConstructed = true;
    return sequence;
  }

  fromASN(): never {
    throw new TypeError('This is written and never read.');
  }
}

const encode = (value: unknown): OwnBytes => new Uint8Array(AsnConvert.serialize(value));

/** Sorts encodings as DER has them in a SET OF (X.690, 11.6). */
function inOrderOfDER(encodings: OwnBytes[]): OwnBytes[] {
  return encodings.sort((one, other) => {
    const index = one.findIndex((byte, index) => byte !== other[index]);
    return index === -1 ? 0 : one[index] - other[index];
  });
}

/** Returns the signed attributes of CAdES, each encoded, in the order of DER. */
export function signedAttributes(digest: OwnBytes, certificateDigest: OwnBytes, time?: Date): OwnBytes[] {
  const attribute = (attrType: string, value: unknown) =>
    encode(new Attribute({ attrType, attrValues: [AsnConvert.serialize(value)] }));
  const certificate = new ESSCertIDv2(new OctetString(certificateDigest));
  return inOrderOfDER([
    attribute(contentType, new ObjectIdentifier({ value: id_data })),
    attribute(messageDigest, new OctetString(digest)),
    attribute(signingCertificateV2, new SigningCertificateV2([certificate])),
    ...(time ? [attribute(signingTime, new Time(time))] : []),
  ]);
}

/**
 * Returns the ContentInfo with a SignedData in DER, without the content. Everything given is DER.
 */
export function signedData(
  certificates: OwnBytes[],
  issuerAndSerialNumber: OwnBytes,
  attributes: OwnBytes[],
  signature: OwnBytes,
): OwnBytes {
  // The library's types ask for what the encodings stand for.
  const encoded = (der: OwnBytes) => new EncodedSequence(der) as never;
  const signer = new SignerInfo({
    version: CMSVersion.v1,
    sid: new SignerIdentifier({ issuerAndSerialNumber: encoded(issuerAndSerialNumber) }),
    digestAlgorithm: sha256,
    signedAttrs: attributes.map(encoded),
    signatureAlgorithm: sha256WithRSAEncryption,
    signature: new OctetString(signature),
  });
  const data = new SignedData({
    version: CMSVersion.v1,
    digestAlgorithms: new DigestAlgorithmIdentifiers([sha256]),
    encapContentInfo: new EncapsulatedContentInfo({ eContentType: id_data }),
    certificates: new CertificateSet(inOrderOfDER(certificates).map(encoded)),
    signerInfos: new SignerInfos([signer]),
  });
  return encode(new SignedContentInfo(data));
}
