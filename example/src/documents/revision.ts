import type { PDFContext, PDFObject, PDFRef } from 'pdf-lib';
import { PDFName, PDFRawStream } from 'pdf-lib';

import { joined, latin1, textOf } from './bytes.js';

const inDigits = (value: number, width: number): string => value.toString().padStart(width, '0');

/** What a person is told. */
export const damaged = 'The PDF is damaged. Open it in a PDF reader, save it anew and sign that.';

export interface Section {
  offset: number;
  isTable: boolean;
  /** More than the number of any object. */
  size: number;
  isEncrypted: boolean;
}

/** Reads the last cross-reference section of a PDF. Throws if there is none. */
export function lastSection(pdf: Uint8Array): Section {
  const offset = Number(textOf(pdf.subarray(-2048)).match(/.*startxref\s+(\d+)/s)?.[1]);
  const text = textOf(pdf.subarray(offset)).split('startxref')[0];
  const [, start, size] = text.match(/^\s*(xref\b|\d+\s+\d+\s+obj\b).*?\/Size\s+(\d+)/s) ?? [];
  if (Number.isNaN(offset) || start === undefined) throw new Error(damaged);
  return { offset, isTable: start === 'xref', size: Number(size), isEncrypted: /\/Encrypt\b/.test(text) };
}

/**
 * A revision of a PDF: objects that are appended to the file, new ones or ones that replace others (ISO 32000-1, 7.5.6).
 * What is there stays byte for byte as it is, and with it whatever was signed before.
 */
export class Revision {
  private readonly objects = new Map<PDFRef, PDFObject>();

  /** Begins a revision of `pdf`, whose last section is `last`, and which `context` was read from. */
  constructor(
    private readonly pdf: Uint8Array,
    private readonly last: Section,
    private readonly context: PDFContext,
  ) {
    // The library does not count the streams that hold other objects.
    context.largestObjectNumber = Math.max(context.largestObjectNumber, last.size - 1);
  }

  /** Has the object written anew. */
  change(ref: PDFRef, object: PDFObject): void {
    this.objects.set(ref, object);
  }

  add(object: PDFObject): PDFRef {
    const ref = this.context.nextRef();
    this.context.assign(ref, object);
    this.change(ref, object);
    return ref;
  }

  /** Returns the PDF with the revision behind it, and where each of its objects begins. */
  write(): { pdf: Uint8Array<ArrayBuffer>; offsets: Map<PDFRef, number> } {
    const parts = [this.pdf, latin1('\n')];
    const offsets = new Map<PDFRef, number>();
    let end = this.pdf.length + 1;
    const write = (part: Uint8Array): void => {
      parts.push(part);
      end += part.length;
    };
    const writeObject = (ref: PDFRef, object: PDFObject): void => {
      offsets.set(ref, end);
      const bytes = new Uint8Array(object.sizeInBytes());
      object.copyBytesInto(bytes, 0);
      write(joined([latin1(`${ref.objectNumber} ${ref.generationNumber} obj\n`), bytes, latin1('\nendobj\n')]));
    };
    for (const [ref, object] of this.objects) writeObject(ref, object);

    const section = end;
    if (this.last.isTable) {
      write(latin1(this.table(offsets)));
    } else {
      const ref = this.context.nextRef();
      offsets.set(ref, section);
      writeObject(ref, this.stream(offsets));
    }
    write(latin1(`startxref\n${section}\n%%EOF\n`));
    return { pdf: joined(parts), offsets };
  }

  /** What a trailer has in both forms. */
  private trailer() {
    const { Root, Info, ID } = this.context.trailerInfo;
    const Size = this.context.largestObjectNumber + 1;
    return this.context.obj({
      Size,
      Prev: this.last.offset,
      ...(Root && { Root }),
      ...(Info && { Info }),
      ...(ID && { ID }),
    });
  }

  private table(offsets: Map<PDFRef, number>): string {
    const entries = [...offsets].map(
      ([{ objectNumber, generationNumber }, offset]) =>
        `${objectNumber} 1\n${inDigits(offset, 10)} ${inDigits(generationNumber, 5)} n \n`,
    );
    return `xref\n${entries.join('')}trailer\n${this.trailer()}\n`;
  }

  private stream(offsets: Map<PDFRef, number>): PDFRawStream {
    const entries = new DataView(new ArrayBuffer(offsets.size * 7));
    [...offsets].forEach(([{ generationNumber }, offset], index) => {
      entries.setUint8(index * 7, 1);
      entries.setUint32(index * 7 + 1, offset);
      entries.setUint16(index * 7 + 5, generationNumber);
    });
    const dictionary = this.trailer();
    dictionary.set(PDFName.of('Type'), PDFName.of('XRef'));
    dictionary.set(PDFName.of('W'), this.context.obj([1, 4, 2]));
    const index = [...offsets.keys()].flatMap(({ objectNumber }) => [objectNumber, 1]);
    dictionary.set(PDFName.of('Index'), this.context.obj(index));
    return PDFRawStream.of(dictionary, new Uint8Array(entries.buffer));
  }
}
