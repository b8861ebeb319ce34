import type { Signer } from 'kavrel-crypto/documents';
import { signCMS } from 'kavrel-crypto/documents';

import { isPDF, signPDF } from './pdf.js';

/** A file with what it is to be told apart by. */
interface Document {
  name: string;
  content: Uint8Array<ArrayBuffer>;
}

interface SignedDocument extends Document {
  type: string;

  /** How to check the signature: in words, and by a command. */
  advice: string;
  command: string;
}

const quoted = (name: string): string => `'${name.replaceAll(`'`, `'\\''`)}'`;

/** Signs a PDF into one that holds the signature, and any other file into a `.p7s` that goes beside it. */
export async function signDocument({ name, content }: Document, signer: Signer): Promise<SignedDocument> {
  if (isPDF(content)) {
    const signed = `${name.replace(/(\.pdf)?$/i, '')}-signed.pdf`;
    return {
      name: signed,
      content: await signPDF(content, signer),
      type: 'application/pdf',
      advice:
        'A PDF reader shows the signature once it trusts the authority. Another person can choose the signed PDF here and ' +
        'sign it as well. Or check it with pdfsig, from the package poppler-utils:',
      command: `pdfsig ${quoted(signed)}`,
    };
  }
  const signature = `${name}.p7s`;
  const options = ['-verify -cades -binary -purpose any -CAfile authority.pem', '-inform DER -in', quoted(signature)];
  return {
    name: signature,
    content: await signCMS(content, signer, { signingTime: new Date() }),
    type: 'application/pkcs7-signature',
    advice: `Keep the signature beside the file. Check it with OpenSSL and the authority's certificate:`,
    command: `openssl cms ${options.join(' ')} -content ${quoted(name)} -out /dev/null`,
  };
}
