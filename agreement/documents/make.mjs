// Has people on a simulated phone sign documents with kavrel-crypto/documents: node make.mjs FOLDER
//
// The folder has root.pem and root.key, middle.pem and middle.key, and plan.json: {record, documents}, an identity record and a
// list of {form, person, content, signature, ...options}. "direct" and "second" have certificates by the root, "chained" one by the middle authority.

import { execFileSync } from 'node:child_process';
import { readFileSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';
import { pdflibAddPlaceholder } from '@signpdf/placeholder-pdf-lib';
import { SignPdf } from '@signpdf/signpdf';
import { Signer } from '@signpdf/utils';
import { PDFDocument } from 'pdf-lib';

import { deviceSigner, signCMS, signJWS } from '../../js/dist/documents/index.js';
import { startSimulator } from '../../js/dist/simulator/index.js';

const folder = process.argv[2];
const at = (name) => join(folder, name);
const plan = JSON.parse(readFileSync(at('plan.json'), 'utf8'));
const phone = await startSimulator({ storage: 'memory', prompts: 'match' });

async function enrolled(name, issuer) {
  const nationalCode = `person-${name}`;
  const own = { nationalCode, enName: name, enLastName: "O'Neil + Sons, Ltd.", provinceName: '👍' };
  const { csrPem } = await phone.call('createCSR', { userInfo: { ...plan.record, ...own } });
  writeFileSync(at(`${name}.csr`), Buffer.from(csrPem, 'base64'));
  const request = ['-req', '-inform', 'DER', '-in', at(`${name}.csr`), '-days', '9', '-copy_extensions', 'copyall'];
  execFileSync(
    'openssl',
    ['x509', ...request, '-CA', at(`${issuer}.pem`), '-CAkey', at(`${issuer}.key`), '-out', at(`${name}.pem`)],
    {
      stdio: 'ignore',
    },
  );
  await phone.call('storeCertificate', { nationalCode, certPem: readFileSync(at(`${name}.pem`), 'utf8') });
  return {
    ...(await deviceSigner(nationalCode)),
    chain: issuer === 'root' ? undefined : readFileSync(at(`${issuer}.pem`), 'utf8'),
  };
}

const people = {};
for (const [name, issuer] of [
  ['direct', 'root'],
  ['second', 'root'],
  ['chained', 'middle'],
]) {
  people[name] = await enrolled(name, issuer);
}

class PersonsSigner extends Signer {
  constructor(person) {
    super();
    this.person = person;
  }

  async sign(pdf) {
    return Buffer.from(await signCMS(pdf, this.person, { chain: this.person.chain }));
  }
}

const place = {
  reason: '',
  location: '',
  contactInfo: '',
  name: '',
  subFilter: 'ETSI.CAdES.detached',
  signatureLength: 8192,
};

/** Returns a PDF with as many pages as `content` has lines. */
async function signedPDF(content, signer) {
  const pdfDoc = await PDFDocument.create();
  for (const line of content.toString('latin1').split('\n')) pdfDoc.addPage().drawText(line.replace(/[^ -~]/g, '?'));
  pdflibAddPlaceholder({ pdfDoc, ...place });
  const pdf = Buffer.from(await pdfDoc.save({ useObjectStreams: false }));
  return new SignPdf().sign(pdf, new PersonsSigner(signer));
}

const derOf = (pem) => pem.replace(/-----[A-Z ]+-----|\s/g, '');

for (const { form, person, content, signature, attached, timed } of plan.documents) {
  const bytes = readFileSync(content);
  const signer = people[person];
  if (form === 'cms') {
    const signingTime = timed ? new Date() : undefined;
    writeFileSync(signature, await signCMS(bytes, signer, { chain: signer.chain, attached, signingTime }));
  } else if (form === 'jws') {
    const x5c = [signer.certificate, ...(signer.chain ? [signer.chain] : [])].map(derOf);
    writeFileSync(signature, await signJWS(bytes, signer, { header: signer.chain ? { x5c } : {} }));
  } else {
    writeFileSync(signature, await signedPDF(bytes, signer));
  }
}
await phone.stop();
process.exit();
