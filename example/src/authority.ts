import { CertificationRequest } from '@peculiar/asn1-csr';
import { AsnConvert, OctetString } from '@peculiar/asn1-schema';
import {
  AlgorithmIdentifier,
  AttributeTypeAndValue,
  AttributeValue,
  BasicConstraints,
  Certificate,
  Extension,
  Extensions,
  Name,
  RelativeDistinguishedName,
  SubjectPublicKeyInfo,
  TBSCertificate,
  Validity,
  Version,
  id_ce_basicConstraints,
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

const issuer = named('Test authority of the example');

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
  private constructor(
    private readonly signingKey: CryptoKey,
    /** Its own certificate as PEM, for whoever checks what it has issued. */
    readonly certificate: string,
  ) {}

  static async create(): Promise<TestAuthority> {
    const parameters = { ...rsa, modulusLength: 2048, publicExponent: new Uint8Array([1, 0, 1]) };
    const { privateKey, publicKey } = await crypto.subtle.generateKey(parameters, false, ['sign', 'verify']);
    const key = AsnConvert.parse(await crypto.subtle.exportKey('spki', publicKey), SubjectPublicKeyInfo);
    const itself = await certificateFor(issuer, key, privateKey, [
      new Extension({
        extnID: id_ce_basicConstraints,
        critical: true,
        extnValue: new OctetString(AsnConvert.serialize(new BasicConstraints({ cA: true }))),
      }),
    ]);
    return new TestAuthority(privateKey, toPEM('CERTIFICATE', itself));
  }

  /** A certificate in DER for the request's subject and key. Throws where the request is not signed with that key. */
  async issue(csrPem: string): Promise<Uint8Array<ArrayBuffer>> {
    const request = readRequest(csrPem);
    if (!(await isSelfSigned(request))) throw new Error('The request is not signed with the key that it holds.');
    const { subject, subjectPKInfo } = request.certificationRequestInfo;
    return certificateFor(subject, subjectPKInfo, this.signingKey);
  }

  /** The same as PEM. */
  async issuePEM(csrPem: string): Promise<string> {
    return toPEM('CERTIFICATE', await this.issue(csrPem));
  }
}

/** A certificate of the authority, in DER. */
async function certificateFor(
  subject: Name,
  subjectPublicKeyInfo: SubjectPublicKeyInfo,
  signingKey: CryptoKey,
  extensions?: Extension[],
): Promise<Uint8Array<ArrayBuffer>> {
  const tbsCertificate = new TBSCertificate({
    version: Version.v3,
    serialNumber: crypto.getRandomValues(new Uint8Array(16)).map((byte, index) => (index ? byte : (byte & 0x3f) | 0x40))
      .buffer,
    signature: sha256WithRSAEncryption,
    issuer,
    validity: new Validity({ notBefore: new Date(), notAfter: new Date(Date.now() + aYear) }),
    subject,
    subjectPublicKeyInfo,
    extensions: extensions && new Extensions(extensions),
  });
  const signatureValue = await crypto.subtle.sign(rsa.name, signingKey, AsnConvert.serialize(tbsCertificate));
  const certificate = new Certificate({
    tbsCertificate,
    signatureAlgorithm: sha256WithRSAEncryption,
    signatureValue,
  });
  return new Uint8Array(AsnConvert.serialize(certificate));
}
