import { CertificationRequest } from '@peculiar/asn1-csr';
import { AsnConvert } from '@peculiar/asn1-schema';
import type { SubjectPublicKeyInfo } from '@peculiar/asn1-x509';
import {
  AlgorithmIdentifier,
  AttributeTypeAndValue,
  AttributeValue,
  Certificate,
  Name,
  RelativeDistinguishedName,
  TBSCertificate,
  Validity,
  Version,
} from '@peculiar/asn1-x509';

import { fromBase64, toPEM } from './encoding.js';

const rsa = { name: 'RSASSA-PKCS1-v1_5', hash: 'SHA-256' };
const sha256WithRSAEncryption = new AlgorithmIdentifier({
  algorithm: '1.2.840.113549.1.1.11',
  parameters: new Uint8Array([5, 0]).buffer,
});
const commonName = '2.5.4.3';
const aYear = 365 * 24 * 60 * 60 * 1000;

const named = (name: string): Name =>
  new Name([
    new RelativeDistinguishedName([
      new AttributeTypeAndValue({ type: commonName, value: new AttributeValue({ utf8String: name }) }),
    ]),
  ]);

/** Imports the public key of a certificate or a request, to check signatures with. */
export function importPublicKey(key: SubjectPublicKeyInfo): Promise<CryptoKey> {
  return crypto.subtle.importKey('spki', AsnConvert.serialize(key), rsa, true, ['verify']);
}

/** Whether `signature` is the key's signature of `data`: RSASSA-PKCS1-v1_5 over SHA-256. */
export async function isSignature(
  key: SubjectPublicKeyInfo,
  signature: BufferSource,
  data: BufferSource,
): Promise<boolean> {
  return crypto.subtle.verify(rsa.name, await importPublicKey(key), signature, data);
}

/** The certification request in `csrPem`, one line of base64. Throws where it is not one. */
export function readRequest(csrPem: string): CertificationRequest {
  return AsnConvert.parse(fromBase64(csrPem), CertificationRequest);
}

/** Whether the request is signed with the key that it holds. */
export function isSelfSigned(request: CertificationRequest): Promise<boolean> {
  const { certificationRequestInfo, certificationRequestInfoRaw, signature } = request;
  return isSignature(certificationRequestInfo.subjectPKInfo, signature, certificationRequestInfoRaw as ArrayBuffer);
}

/** A test authority that lives in the page and is gone with it. Nobody trusts its certificates. */
export class TestAuthority {
  private constructor(private readonly signingKey: CryptoKey) {}

  static async create(): Promise<TestAuthority> {
    const parameters = { ...rsa, modulusLength: 2048, publicExponent: new Uint8Array([1, 0, 1]) };
    const { privateKey } = await crypto.subtle.generateKey(parameters, false, ['sign', 'verify']);
    return new TestAuthority(privateKey);
  }

  /** A certificate in DER for the request's subject and key. Throws where the request is not signed with that key. */
  async issue(csrPem: string): Promise<Uint8Array<ArrayBuffer>> {
    const request = readRequest(csrPem);
    if (!(await isSelfSigned(request))) throw new Error('The request is not signed with the key that it holds.');
    const { subject, subjectPKInfo } = request.certificationRequestInfo;
    const tbsCertificate = new TBSCertificate({
      version: Version.v3,
      serialNumber: crypto
        .getRandomValues(new Uint8Array(16))
        .map((byte, index) => (index ? byte : (byte & 0x3f) | 0x40)).buffer,
      signature: sha256WithRSAEncryption,
      issuer: named('Test authority of the example'),
      validity: new Validity({ notBefore: new Date(), notAfter: new Date(Date.now() + aYear) }),
      subject,
      subjectPublicKeyInfo: subjectPKInfo,
    });
    const signatureValue = await crypto.subtle.sign(rsa.name, this.signingKey, AsnConvert.serialize(tbsCertificate));
    const certificate = new Certificate({
      tbsCertificate,
      signatureAlgorithm: sha256WithRSAEncryption,
      signatureValue,
    });
    return new Uint8Array(AsnConvert.serialize(certificate));
  }

  /** The same as PEM. */
  async issuePEM(csrPem: string): Promise<string> {
    return toPEM('CERTIFICATE', await this.issue(csrPem));
  }
}
