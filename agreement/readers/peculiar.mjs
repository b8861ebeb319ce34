// Reads requests with @peculiar/x509, and checks their signatures. Each argument is a file in DER; it is answered with a
// line of JSON: the `refusal`, or the subject, the key and the key purposes.

import 'reflect-metadata'; // which the next one needs
import { Pkcs10CertificateRequest } from '@peculiar/x509';
import { createPublicKey } from 'node:crypto';
import { readFileSync } from 'node:fs';

/** The types of attribute that the library gives names to. */
const types = { ST: '2.5.4.8', L: '2.5.4.7', CN: '2.5.4.3', SN: '2.5.4.4', G: '2.5.4.42' };

const extendedKeyUsage = '2.5.29.37';

const hex = (base64url) => Buffer.from(base64url, 'base64url').toString('hex');

function subjectOf(name) {
  return name
    .toJSON()
    .flatMap((attributes) =>
      Object.entries(attributes).flatMap(([type, values]) =>
        values.map((value) => [types[type] ?? type, Buffer.from(value).toString('hex')]),
      ),
    );
}

async function reading(file) {
  const request = new Pkcs10CertificateRequest(readFileSync(file));
  if (!(await request.verify())) throw new Error('the signature is not valid');
  const key = createPublicKey({ key: Buffer.from(request.publicKey.rawData), format: 'der', type: 'spki' });
  const { n, e } = key.export({ format: 'jwk' });
  return {
    subject: subjectOf(request.subjectName),
    modulus: hex(n),
    exponent: hex(e),
    purposes: request.getExtension(extendedKeyUsage).usages,
  };
}

for (const file of process.argv.slice(2)) {
  console.log(JSON.stringify(await reading(file).catch(({ message }) => ({ refusal: message }))));
}
