// Makes a PDF and has a person of a desktop device sign it: node sign-pdf.mjs DEVICE CERTIFICATE NATIONAL-CODE FILE
import { execFileSync } from 'node:child_process';
import { readFileSync, writeFileSync } from 'node:fs';
import { pdflibAddPlaceholder } from '@signpdf/placeholder-pdf-lib';
import { SignPdf } from '@signpdf/signpdf';
import { Signer } from '@signpdf/utils';
import { PDFDocument } from 'pdf-lib';

import { signCMS } from '../../js/dist/documents/index.js';

const [device, certificate, nationalCode, file] = process.argv.slice(2);
const person = {
  certificate: readFileSync(certificate, 'utf8'),
  async sign(bytes) {
    const input = JSON.stringify({ nationalCode, digestB64: Buffer.from(bytes).toString('base64') });
    const command = ['--device', device, '--prompt', 'match', 'call', 'signDigest', '-'];
    const { resolve } = JSON.parse(execFileSync('kavrel', command, { input }));
    return Buffer.from(resolve.signatureB64, 'base64');
  },
};

class PersonsSigner extends Signer {
  sign(content) {
    return signCMS(content, person).then(Buffer.from);
  }
}

const pdfDoc = await PDFDocument.create();
pdfDoc.addPage().drawText('I rent the lighthouse for a week.', { x: 50, y: 700 });
pdflibAddPlaceholder({
  pdfDoc,
  name: 'Jane Example',
  reason: 'I agree',
  location: 'Sampletown',
  contactInfo: '',
  subFilter: 'ETSI.CAdES.detached',
  signatureLength: 4096,
});
const placeholder = Buffer.from(await pdfDoc.save({ useObjectStreams: false }));
writeFileSync(file, await new SignPdf().sign(placeholder, new PersonsSigner()));
