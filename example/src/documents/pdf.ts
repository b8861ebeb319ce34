import type { Signer } from 'kavrel-crypto/documents';
import { signCMS } from 'kavrel-crypto/documents';
import {
  PDFArray,
  PDFDict,
  PDFDocument,
  PDFHexString,
  PDFInvalidObject,
  PDFName,
  PDFNumber,
  PDFRef,
  PDFString,
} from 'pdf-lib';

import { joined, latin1, textOf } from './bytes.js';
import { Revision, damaged, lastSection } from './revision.js';

export interface PDFOptions {
  /** The time at which the person claims to sign. The default is now. */
  time?: Date;

  /** The certificates above the person's, as `signCMS` takes them. */
  chain?: string;

  /** How many bytes are kept free for the signature. */
  room?: number;
}

const name = (key: string): PDFName => PDFName.of(key);

/** Whether a file says that it is a PDF. */
export const isPDF = (file: Uint8Array): boolean => textOf(file.subarray(0, 1024)).includes('%PDF-');

async function read(pdf: Uint8Array): Promise<PDFDocument> {
  try {
    const document = await PDFDocument.load(pdf, { updateMetadata: false, throwOnInvalidObject: true });
    if (document.getPageCount() > 0) return document;
  } catch {
    // The library's words are for whoever writes programs.
  }
  throw new Error(damaged);
}

/** Throws if somebody has certified the document and allows no signature after that (ISO 32000-1, 12.8.2.2). */
function refuseIfClosed({ catalog }: PDFDocument): void {
  const reference = catalog
    .lookupMaybe(name('Perms'), PDFDict)
    ?.lookupMaybe(name('DocMDP'), PDFDict)
    ?.lookupMaybe(name('Reference'), PDFArray)
    ?.lookupMaybe(0, PDFDict);
  const permissions = reference?.lookupMaybe(name('TransformParams'), PDFDict)?.lookupMaybe(name('P'), PDFNumber);
  if (permissions?.asNumber() === 1) throw new Error('Whoever certified the PDF allows no further signatures in it.');
}

/** Appends `added` to the array under `key` of a dictionary, which is the object `ref` or a part of it. */
function append(revision: Revision, dictionary: PDFDict, ref: PDFRef, key: string, added: PDFRef): void {
  const held = dictionary.get(name(key));
  const array = dictionary.lookupMaybe(name(key), PDFArray);
  array?.push(added);
  if (array && held instanceof PDFRef) return revision.change(held, array);
  if (!array) dictionary.set(name(key), dictionary.context.obj([added]));
  revision.change(ref, dictionary);
}

/** Returns the form of the document, which is made if there is none, and the object that it is or is a part of. */
function formOf({ catalog, context }: PDFDocument): { form: PDFDict; ref: PDFRef; object: PDFDict } {
  const root = context.trailerInfo.Root as PDFRef;
  const held = catalog.get(name('AcroForm'));
  const form = catalog.lookupMaybe(name('AcroForm'), PDFDict) ?? context.obj({});
  if (held instanceof PDFRef) return { form, ref: held, object: form };
  catalog.set(name('AcroForm'), form);
  return { form, ref: root, object: catalog };
}

/** Returns a name that no field of the form has. */
function unusedName(form: PDFDict): string {
  const fields = form.lookupMaybe(name('Fields'), PDFArray);
  const taken = new Set<string>();
  for (let index = 0; index < (fields?.size() ?? 0); ++index) {
    const title = fields?.lookupMaybe(index, PDFDict)?.lookupMaybe(name('T'), PDFString, PDFHexString);
    if (title) taken.add(title.decodeText());
  }
  let number = 1;
  while (taken.has(`Signature${number}`)) ++number;
  return `Signature${number}`;
}

/** Adds a field to the form that holds the signature, on the first page, where nothing is to be seen of it. */
function addField(document: PDFDocument, revision: Revision, signature: PDFRef): void {
  const { form, ref, object } = formOf(document);
  const page = document.getPage(0);
  const [printed, locked] = [4, 128];
  const field = document.context.obj({
    Type: 'Annot',
    Subtype: 'Widget',
    FT: 'Sig',
    T: PDFString.of(unusedName(form)),
    V: signature,
    F: printed | locked,
    P: page.ref,
    Rect: [0, 0, 0, 0],
  });
  const added = revision.add(field);
  append(revision, page.node, page.ref, 'Annots', added);
  append(revision, form, ref, 'Fields', added);
  const [signaturesExist, appendOnly] = [1, 2];
  form.set(name('SigFlags'), PDFNumber.of(signaturesExist | appendOnly));
  revision.change(ref, object);
}

/**
 * Signs a PDF as PAdES has it at baseline B (ETSI EN 319 142-1). What is in the file stays as it is and the signature is
 * appended, so signatures that others have made before stay valid.
 *
 * Rejects as `signCMS` does, and with a sentence for the person if the PDF is encrypted, damaged or closed, or if the
 * signature does not fit into the room that was kept for it.
 */
export async function signPDF(
  pdf: Uint8Array,
  signer: Signer,
  { time = new Date(), chain, room = 16_384 }: PDFOptions = {},
): Promise<Uint8Array<ArrayBuffer>> {
  const last = lastSection(pdf);
  if (last.isEncrypted) throw new Error('The PDF is encrypted. Save it without a password and sign that.');
  const document = await read(pdf);
  refuseIfClosed(document);

  // The numbers of the range are filled in when they are known.
  const before = `<< /Type /Sig /Filter /Adobe.PPKLite /SubFilter /ETSI.CAdES.detached /M ${PDFString.fromDate(time)} /ByteRange [`;
  const range = ' '.repeat(36);
  const between = '] /Contents ';
  const contents = `<${'0'.repeat(2 * room)}>`;
  const revision = new Revision(pdf, last, document.context);
  const signature = revision.add(PDFInvalidObject.of(latin1(`${before}${range}${between}${contents} >>`)));
  addField(document, revision, signature);
  const { pdf: signed, offsets } = revision.write();
  const body = offsets.get(signature)! + `${signature.objectNumber} 0 obj\n`.length + before.length;
  const start = body + range.length + between.length;
  const end = start + contents.length;
  signed.set(latin1(`0 ${start} ${end} ${signed.length - end}`), body);

  const content = joined([signed.subarray(0, start), signed.subarray(end)]);
  const cms = await signCMS(content, signer, { chain });
  if (cms.length > room) {
    throw new Error(
      `The signature takes ${cms.length} bytes and the PDF has room for ${room}: send fewer certificates along with it.`,
    );
  }
  signed.set(latin1(Array.from(cms, (byte) => byte.toString(16).padStart(2, '0')).join('')), start + 1);
  return signed;
}
