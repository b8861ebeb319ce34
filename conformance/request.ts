import { CertificationRequest } from '@peculiar/asn1-csr';
import { AsnConvert } from '@peculiar/asn1-schema';
import type { SubjectPublicKeyInfo } from '@peculiar/asn1-x509';

import { fromBase64 } from './encoding.js';

const rsa = { name: 'RSASSA-PKCS1-v1_5', hash: 'SHA-256' };

/** Whether `signature` is the key's signature of `data`: RSASSA-PKCS1-v1_5 over SHA-256. */
export async function isSignature(
  key: SubjectPublicKeyInfo,
  signature: BufferSource,
  data: BufferSource,
): Promise<boolean> {
  const publicKey = await crypto.subtle.importKey('spki', AsnConvert.serialize(key), rsa, false, ['verify']);
  return crypto.subtle.verify(rsa.name, publicKey, signature, data);
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
