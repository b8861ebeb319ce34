import { signedAttributes, signedData } from './asn1.js';
import type { Certificate } from './certificate.js';
import { certificatesOf } from './certificate.js';
import { sha256 } from './crypto.js';
import { constructedOf, elementOfPieces, joined, tags } from './der.js';
import type { Bytes, OwnBytes } from './encoding.js';
import { bytesOf, isBytes } from './encoding.js';
import type { Signer } from './signer.js';
import { checked } from './signer.js';

export interface CMSOptions {
  /**
   * The certificates above the signer's in PEM, in one text: first the one that issued the signer's, then the one that
   * issued that. The root may be left out. The default is none.
   */
  chain?: string;

  /** Puts the content into the result. The default is false: whoever checks the signature has the content. */
  attached?: boolean;

  /**
   * The time at which the signer claims to sign. A CAdES signature at baseline B has it, and must not be in a
   * PDF, which has it elsewhere. The default is none.
   */
  signingTime?: Date;
}

const sameBytes = (one: OwnBytes, other: OwnBytes): boolean =>
  one.length === other.length && one.every((byte, index) => byte === other[index]);

/** Reads the chain above `signers`. Throws unless each certificate's subject is the issuer of the one before it. */
function chainAbove(signers: Certificate, pem: string): Certificate[] {
  const chain = certificatesOf(pem, 'What the chain holds');
  [signers, ...chain].reduce((issued, issuer, index) => {
    if (sameBytes(issued.issuer, issuer.subject)) return issuer;
    const before = index === 1 ? `the signer's` : 'the one before it';
    throw new Error(`The chain is out of order: its certificate ${index} did not issue ${before}.`);
  });
  return chain;
}

async function digestOf(content: Bytes | { sha256: Bytes }): Promise<OwnBytes> {
  if (isBytes(content)) return sha256(bytesOf(content));
  if (isBytes(content.sha256) && content.sha256.byteLength === 32) return bytesOf(content.sha256);
  throw new Error('The content is neither bytes nor the 32 bytes of a SHA-256.');
}

/** Puts `content` into a SignedData that lacks it. The library would copy it once more on each level. */
function withContent(contentInfo: OwnBytes, content: OwnBytes): OwnBytes {
  const [contentType, explicit] = constructedOf(contentInfo, tags.sequence).elements;
  const [version, digestAlgorithms, encapContentInfo, ...rest] = constructedOf(
    explicit.content,
    tags.sequence,
  ).elements;
  const octets = elementOfPieces(tags.octetString, content);
  const encapsulated = [encapContentInfo.content, ...elementOfPieces(tags.explicit0, ...octets)];
  const signedData = elementOfPieces(
    tags.sequence,
    version.der,
    digestAlgorithms.der,
    ...elementOfPieces(tags.sequence, ...encapsulated),
    ...rest.map(({ der }) => der),
  );
  return joined(elementOfPieces(tags.sequence, contentType.der, ...elementOfPieces(tags.explicit0, ...signedData)));
}

/**
 * Signs `content` into a CMS SignedData in DER (RFC 5652), as CAdES has it at baseline B (ETSI EN 319 122-1): the signed
 * attributes are content-type, message-digest and signing-certificate-v2. Of a content that is too large to be in memory
 * its SHA-256 will do, unless it is to be attached.
 *
 * Rejects as the signer does, if the chain is out of order, or if the signature that comes back is not one by the
 * certificate's key. The dates and the issuer of a certificate are not checked.
 */
export async function signCMS(
  content: Bytes | { sha256: Bytes },
  signer: Signer,
  { chain, attached = false, signingTime }: CMSOptions = {},
): Promise<OwnBytes> {
  if (attached && 'sha256' in content) {
    throw new Error('A content of which only the SHA-256 is given cannot be attached.');
  }
  const year = signingTime?.getUTCFullYear() ?? 2000;
  if (!(year >= 1950 && year <= 9999)) throw new Error('The time of signing is not a date from 1950 to 9999.');

  const [{ certificate, sign }, digest] = await Promise.all([checked(signer), digestOf(content)]);
  const certificates = [certificate, ...(chain === undefined ? [] : chainAbove(certificate, chain))];
  const attributes = signedAttributes(digest, await sha256(certificate.der), signingTime);
  // As they are signed they are a SET, whatever they are tagged with in the SignerInfo (RFC 5652, section 5.4).
  const signature = await sign(joined(elementOfPieces(tags.set, ...attributes)));
  const contentInfo = signedData(
    certificates.map(({ der }) => der),
    joined(elementOfPieces(tags.sequence, certificate.issuer, certificate.serialNumber)),
    attributes,
    signature,
  );
  return attached ? withContent(contentInfo, bytesOf(content as Bytes)) : contentInfo;
}
