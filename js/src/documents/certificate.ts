import { constructedOf, tags } from './der.js';
import type { OwnBytes } from './encoding.js';
import { fromBase64 } from './encoding.js';

/** What a signature needs of an X.509 certificate, each part as the DER that stands in it. */
export interface Certificate {
  der: OwnBytes;
  serialNumber: OwnBytes;
  issuer: OwnBytes;
  subject: OwnBytes;
  subjectPublicKeyInfo: OwnBytes;
}

/**
 * Reads the certificate at the start of `data`. This does without the library for ASN.1, because tokens do, and because
 * the parts have to be the very bytes of the certificate.
 */
function parse(data: OwnBytes): Certificate {
  const { der, elements } = constructedOf(data, tags.sequence);
  const fields = constructedOf(elements[0].der, tags.sequence).elements;
  if (fields[0].tag === tags.explicit0) fields.shift(); // the version
  const [serialNumber, ...sequences] = fields.slice(0, 6);
  const [, issuer, , subject, subjectPublicKeyInfo] = sequences;
  if (serialNumber.tag !== tags.integer || sequences.some(({ tag }) => tag !== tags.sequence)) {
    throw new RangeError('This is no Certificate.');
  }
  return {
    der,
    serialNumber: serialNumber.der,
    issuer: issuer.der,
    subject: subject.der,
    subjectPublicKeyInfo: subjectPublicKeyInfo.der,
  };
}

/** Reads the certificates in a PEM text. Throws an error about `name` if there is none or one of them is damaged. */
export function certificatesOf(pem: string, name: string): Certificate[] {
  try {
    const [before, ...blocks] = pem.split('-----BEGIN CERTIFICATE-----');
    // The device takes a certificate without the markers too.
    const bodies =
      blocks.length > 0 ? blocks.map((block) => block.match(/^([^-]*)-----END CERTIFICATE-----/)![1]) : [before];
    return bodies.map((body) => parse(fromBase64(body.replace(/\s/g, ''))));
  } catch {
    throw new Error(`${name} is not an X.509 certificate in PEM.`);
  }
}
