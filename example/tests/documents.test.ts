import type { Signer } from 'kavrel-crypto/documents';
import { generateKeyPairSync, sign } from 'node:crypto';
import { mkdtemp, readFile, rm, writeFile } from 'node:fs/promises';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { PDFDocument, PDFName } from 'pdf-lib';
import type { Page } from 'playwright-core';
import { afterAll, beforeAll, describe, expect, test } from 'vitest';

import { run } from '../../js/tests/app.js';
import { signPDF } from '../src/documents/pdf.js';

import { Example } from './browser.js';

let folder: string;
let example: Example;
let contract: Uint8Array;

/** A person with a key of Node.js and a certificate from OpenSSL. */
let person: Signer;

/** A contract in Persian, as a browser prints it. */
const html = `<!doctype html><html lang="fa" dir="rtl"><meta charset="utf-8"><title>قرارداد</title>
<h1>قرارداد اجارهٔ مسکن</h1><p>میان خانم سارا محمدی، کد ملی ۰۰۱۲۳۴۵۶۷۸ (موجر)، و آقای رضا کریمی (مستأجر).</p></html>`;

beforeAll(async () => {
  folder = await mkdtemp(join(tmpdir(), 'kavrel-crypto-documents-'));
  example = await Example.start();
  const page = await example.open();
  await page.setContent(html);
  contract = await page.pdf();
  await page.context().close();

  const { privateKey } = generateKeyPairSync('rsa', { modulusLength: 2048 });
  await writeFile(join(folder, 'key.pem'), privateKey.export({ type: 'pkcs8', format: 'pem' }));
  const request = ['req', '-x509', '-key', 'key.pem', '-out', 'certificate.pem', '-utf8', '-subj', '/CN=سارا'];
  await run('openssl', request, { cwd: folder });
  const certificate = await readFile(join(folder, 'certificate.pem'), 'utf8');
  person = { certificate, sign: async (bytes) => sign('sha256', bytes, privateKey) };
});

afterAll(async () => {
  await example.stop();
  await rm(folder, { recursive: true });
});

/** Returns what pdfsig says of each signature in a PDF. It may not complain about the PDF itself. */
async function signaturesIn(pdf: Uint8Array): Promise<string[]> {
  await writeFile(join(folder, 'signed.pdf'), pdf);
  const { stdout, stderr } = await run('pdfsig', ['-nocert', 'signed.pdf'], { cwd: folder });
  expect(stderr).toBe('');
  return stdout.split(/^Signature #\d+:$/m).slice(1);
}

const valid = 'Signature Validation: Signature is Valid.';
const whole = /^ {2}- Total document signed$/m;

const document = (pdf: Uint8Array): Promise<PDFDocument> => PDFDocument.load(pdf);

/** The same contract in each way in which a PDF can be put together. */
const kinds: Record<string, () => Promise<Uint8Array>> = {
  'a table of objects': async () => contract,
  'streams of objects': async () => (await document(contract)).save(),
  'a form and annotations': async () => {
    const filled = await document(contract);
    filled.getForm().createTextField('Signature1').addToPage(filled.getPage(0));
    return filled.save({ useObjectStreams: false });
  },
  'a form that is a part of its catalog': async () => {
    const filled = await document(contract);
    filled.catalog.set(
      PDFName.of('AcroForm'),
      filled.context.obj({ Fields: filled.context.register(filled.context.obj([])) }),
    );
    return filled.save();
  },
};

describe.each(Object.entries(kinds))('a PDF with %s', (_, make) => {
  test('is signed twice, and both signatures are valid', async () => {
    const pdf = await make();
    const once = await signPDF(pdf, person, { time: new Date('2026-01-31T12:00:00Z') });
    expect(Buffer.from(once).subarray(0, pdf.length).equals(pdf)).toBe(true);
    const [first, ...none] = await signaturesIn(once);
    expect(none).toEqual([]);
    expect(first).toContain(valid);
    expect(first).toMatch(whole);
    expect(first).toContain('Signature Type: ETSI.CAdES.detached');
    expect(first).toContain('Signing Time: Jan 31 2026');

    const twice = await signPDF(once, person);
    const both = await signaturesIn(twice);
    expect(both.map((said) => said.includes(valid))).toEqual([true, true]);
    expect(both[1]).toMatch(whole);
    expect(new Set(both.map((said) => said.match(/Field Name: (.+)/)?.[1])).size).toBe(2);
    expect((await document(twice)).getPageCount()).toBe(1);
  });
});

test('a signature is not valid when a byte of the PDF is another', async () => {
  const signed = await signPDF(contract, person);
  const altered = Buffer.from(signed);
  altered[altered.indexOf('/Producer') + 12] ^= 1;
  expect((await signaturesIn(altered))[0]).toContain('Digest Mismatch');
});

describe('a PDF that cannot be signed is refused in one sentence', () => {
  const text = (): string => Buffer.from(contract).toString('latin1');
  const damaged = 'The PDF is damaged. Open it in a PDF reader, save it anew and sign that.';

  test.each([
    [
      'encrypted',
      () => text().replace(/trailer\s*<</, '$&/Encrypt 1 0 R '),
      'The PDF is encrypted. Save it without a password',
    ],
    ['cut off', () => text().slice(0, 9000), damaged],
    ['without its end', () => text().slice(0, text().lastIndexOf('startxref')), damaged],
    ['with a reference to its middle', () => text().replace(/startxref\s+\d+/, 'startxref\n99'), damaged],
    ['nothing but its first line', () => '%PDF-1.7\n', damaged],
  ])('if it is %s', async (_, make, message) => {
    await expect(signPDF(Buffer.from(make(), 'latin1'), person)).rejects.toThrow(message);
  });

  test('if whoever certified it allows no signature after that', async () => {
    const closed = await document(contract);
    const { context } = closed;
    const reference = [{ TransformMethod: 'DocMDP', TransformParams: { P: 1, V: '1.2' } }];
    closed.catalog.set(
      PDFName.of('Perms'),
      context.obj({ DocMDP: context.register(context.obj({ Reference: reference })) }),
    );
    await expect(signPDF(await closed.save(), person)).rejects.toThrow(
      'Whoever certified the PDF allows no further signatures in it.',
    );
  });

  test('if the signature does not fit', async () => {
    await expect(signPDF(contract, person, { room: 1000 })).rejects.toThrow(
      /^The signature takes 1\d\d\d bytes and the PDF has room for 1000: send fewer certificates along with it\.$/,
    );
  });
});

/** Takes a person as far as a kept certificate, on a phone of her own. */
async function enrol(nationalCode: string): Promise<Page> {
  const page = await example.open();
  await page.getByRole('button', { name: 'Fill in a sample person' }).click();
  await page.fill('#nationalCode', nationalCode);
  await page.getByRole('button', { name: 'Write the request' }).click();
  await page.locator('#key-state').filter({ hasText: 'This device holds a key' }).waitFor();
  await page.getByRole('button', { name: 'Have the test authority issue one' }).click();
  await page.locator('#download-authority[href]').waitFor();
  await page.getByRole('button', { name: 'Keep the certificate' }).click();
  await page.locator('#certificate-state').filter({ hasText: 'keeps a certificate' }).waitFor();
  return page;
}

/** Saves what the link offers in the folder. Returns its name. */
async function download(page: Page, id: string): Promise<string> {
  const [download] = await Promise.all([page.waitForEvent('download'), page.click(`#${id}`)]);
  await download.saveAs(join(folder, download.suggestedFilename()));
  return download.suggestedFilename();
}

/** Has the person sign a file. Returns the name of what can be downloaded, and what the page's command says of it. */
async function signInPage(page: Page, name: string, mimeType: string): Promise<{ name: string; checked: string }> {
  await page.setInputFiles('#file', { name, mimeType, buffer: await readFile(join(folder, name)) });
  await page.getByRole('button', { name: 'Sign the file' }).click();
  await page.getByRole('alertdialog').getByRole('button', { name: 'Match', exact: true }).click();
  await page.locator('#verdict').filter({ hasText: 'Signed:' }).waitFor();
  const signed = await download(page, 'download-signature');
  const command = (await page.textContent('#check-command'))!;
  const { stdout, stderr } = await run('sh', ['-c', command], { cwd: folder });
  return { name: signed, checked: stdout + stderr };
}

describe('in the page', () => {
  test('two people sign a contract, each on a phone, and the page says how to check it', async () => {
    await writeFile(join(folder, 'قرارداد.pdf'), contract);
    const once = await signInPage(await enrol('0012345678'), 'قرارداد.pdf', 'application/pdf');
    expect(once.name).toBe('قرارداد-signed.pdf');
    expect(once.checked).toContain(valid);
    const twice = await signInPage(await enrol('0087654321'), once.name, 'application/pdf');
    expect(twice.checked.split(valid)).toHaveLength(3);
    expect(twice.checked).toMatch(/Name: 0012345678.*Name: 0087654321/s);
  });

  test('a person signs another file, which OpenSSL verifies by the command on the page', async () => {
    const name = `Sara's $1 letter.txt`;
    await writeFile(join(folder, name), 'Dear authority');
    const page = await enrol('0012345678');
    await download(page, 'download-authority');
    const signed = await signInPage(page, name, 'text/plain');
    expect(signed.name).toBe(`${name}.p7s`);
    expect(signed.checked).toContain('CAdES Verification successful');
  });

  test('a PDF that is damaged is refused, and nothing can be downloaded', async () => {
    const page = await enrol('0012345678');
    await page.setInputFiles('#file', {
      name: 'a.pdf',
      mimeType: 'application/pdf',
      buffer: Buffer.from('%PDF-1.7\n'),
    });
    await page.getByRole('button', { name: 'Sign the file' }).click();
    await page.locator('#signature-notice').filter({ hasText: 'The PDF is damaged.' }).waitFor();
    expect(await page.getAttribute('#download-signature', 'href')).toBeNull();
    expect(await page.isVisible('#check')).toBe(false);
  });
});
