// Makes certificates with @peculiar/x509, by keys of WebCrypto. The argument is a number, of which all multiples are
// made. Prints each certificate in base64, on a line.

import 'reflect-metadata'; // which the next one needs
import { BasicConstraintsExtension, Extension, X509CertificateGenerator } from '@peculiar/x509';

const rsa = (modulusLength, ...publicExponent) => ({
  name: 'RSASSA-PKCS1-v1_5',
  hash: 'SHA-256',
  modulusLength,
  publicExponent: new Uint8Array(publicExponent),
});
const usual = rsa(2048, 1, 0, 1);
const ecdsa = (namedCurve) => ({ name: 'ECDSA', hash: 'SHA-256', namedCurve });

/** What each certificate is made from: an algorithm, and what else the library's generator takes. */
const certificates = [
  [usual, {}],
  [rsa(1024, 1, 0, 1), {}],
  [rsa(2048, 3), {}],
  [rsa(2048, 0x40, 0, 0, 0x03), {}],
  [rsa(3072, 1, 0, 1), {}],
  [rsa(4096, 1, 0, 1), {}],
  [{ ...usual, name: 'RSA-PSS', saltLength: 32 }, {}],
  [ecdsa('P-256'), {}],
  [ecdsa('P-384'), {}],
  [ecdsa('P-521'), {}],
  [{ name: 'Ed25519' }, {}],
  [usual, { serialNumber: '00' }],
  [usual, { serialNumber: '7f'.repeat(20) }],
  [usual, { serialNumber: 'ff'.repeat(40) }],
  [usual, { name: 'CN=نام, O=سازمان' }],
  [usual, { name: '' }],
  [usual, { notBefore: new Date('0001-01-01'), notAfter: new Date('9999-12-31') }],
  [usual, { extensions: [new BasicConstraintsExtension(true, 0, true)] }],
  [usual, { extensions: [new Extension('1.2.3.4.5', true, new Uint8Array(300))] }],
  [usual, { extensions: [1, 2].map((byte) => new Extension('1.2.3.4.5', false, new Uint8Array([byte]))) }],
];

const step = Number(process.argv[2]);
for (const [signingAlgorithm, options] of certificates.filter((_, index) => index % step === 0)) {
  const keys = await crypto.subtle.generateKey(signingAlgorithm, false, ['sign', 'verify']);
  const certificate = await X509CertificateGenerator.createSelfSigned({
    serialNumber: '01',
    name: 'CN=Throw-away',
    notBefore: new Date('2020-01-01'),
    notAfter: new Date('2040-01-01'),
    signingAlgorithm,
    keys,
    ...options,
  });
  console.log(certificate.toString('base64'));
}
