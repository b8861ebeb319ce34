import { DigitalSign } from 'kavrel-crypto';
import { deviceSigner } from 'kavrel-crypto/documents';

import { TestAuthority } from '../../../conformance/authority.js';
import { signDocument } from '../documents/document.js';
import { element, make, offerDownload, withdrawDownload } from '../dom.js';
import { toHex, toPEM } from '../encoding.js';
import { explained } from '../rejections.js';

import { biometricsInWords } from './biometrics.js';
import { PersonForm } from './person.js';

const person = new PersonForm(element('fields'));
const request = element('request', HTMLTextAreaElement);
const certificate = element('certificate', HTMLTextAreaElement);
const downloadRequest = element('download-request', HTMLAnchorElement);
const downloadSignature = element('download-signature', HTMLAnchorElement);
const signButton = element('sign', HTMLButtonElement);
const downloadAuthority = element('download-authority', HTMLAnchorElement);
const verdict = element('verdict');

/** Made when it is first asked to issue. */
let authority: Promise<TestAuthority> | undefined;

/** What was chosen to be signed. */
let file: { name: string; content: Uint8Array<ArrayBuffer> } | undefined;

/** Runs `action`, and tells in the section's notice what to do if it is rejected. */
async function attempt(section: string, action: () => Promise<void>): Promise<void> {
  const notice = element(`${section}-notice`);
  notice.replaceChildren();
  try {
    await action();
  } catch (rejection) {
    const { advice, details } = explained(rejection);
    notice.replaceChildren(advice, make('small', {}, details));
  }
}

/** Runs `action` when the button is pressed, one at a time. */
function onPress(id: string, section: string, action: () => Promise<void>): void {
  const button = element(id, HTMLButtonElement);
  button.addEventListener('click', () => void pressed());
  const pressed = async (): Promise<void> => {
    button.disabled = true;
    await attempt(section, action);
    button.disabled = false;
  };
}

async function showBiometrics(): Promise<void> {
  element('biometrics').textContent = biometricsInWords(await DigitalSign.getBiometricStatus());
}

async function showState(): Promise<void> {
  const { nationalCode } = person;
  const { exists } = await DigitalSign.hasKey({ nationalCode });
  const { certPem } = await DigitalSign.getCertificate({ nationalCode });
  element('key-state').textContent = exists ? 'This device holds a key for the person.' : 'There is no key yet.';
  element('certificate-state').textContent =
    certPem === null ? 'The device keeps no certificate.' : 'The device keeps a certificate.';
}

async function writeRequest(): Promise<void> {
  request.value = '';
  withdrawDownload(downloadRequest);
  const { csrPem } = await DigitalSign.createCSR({ userInfo: person.userInfo });
  request.value = csrPem;
  const pem = toPEM('CERTIFICATE REQUEST', csrPem);
  offerDownload(downloadRequest, `${person.nationalCode}.csr`, 'application/pkcs10', pem);
  await showState();
}

async function issue(): Promise<void> {
  if (!request.value) throw new Error('Write the request first.');
  authority ??= TestAuthority.create();
  const issuer = await authority;
  certificate.value = await issuer.issue(request.value);
  offerDownload(downloadAuthority, 'authority.pem', 'application/x-pem-file', issuer.certificate);
}

async function store(): Promise<void> {
  const { nationalCode } = person;
  const certPem = certificate.value;
  await DigitalSign.storeCertificate({ nationalCode, certPem });
  // A failed write is not reported, so what is kept is read back.
  const kept = await DigitalSign.getCertificate({ nationalCode });
  await showState();
  if (kept.certPem !== certPem) throw new Error('The device did not keep the certificate. Try again.');
}

/** Takes back what the page says and offers of the last signature. */
function withdrawSignature(): void {
  verdict.textContent = '';
  element('check').hidden = true;
  withdrawDownload(downloadSignature);
}

async function choose(chosen: File | undefined): Promise<void> {
  if (!chosen) return;
  withdrawSignature();
  const content = new Uint8Array(await chosen.arrayBuffer());
  const digest = new Uint8Array(await crypto.subtle.digest('SHA-256', content));
  file = { name: chosen.name, content };
  element('file-name').textContent = `${chosen.name}, ${chosen.size.toLocaleString('en')} bytes`;
  element('facts').replaceChildren(make('dt', {}, 'SHA-256'), make('dd', { dir: 'ltr' }, toHex(digest)));
  signButton.disabled = false;
}

async function sign(): Promise<void> {
  if (!file) return;
  withdrawSignature();
  const signer = await deviceSigner(person.nationalCode);
  const { name, type, content, advice, command } = await signDocument(file, signer);
  offerDownload(downloadSignature, name, type, content);
  verdict.dataset.good = 'true';
  verdict.textContent = `Signed: ${name}`;
  element('check-advice').textContent = advice;
  element('check-command').textContent = command;
  element('check').hidden = false;
}

element('person').addEventListener('submit', (event) => {
  event.preventDefault();
  void attempt('person', writeRequest);
});
element('sample').addEventListener('click', () => {
  person.fillInSample();
  void attempt('person', showState);
});
onPress('new-key', 'request', async () => {
  await DigitalSign.ensureKey({ nationalCode: person.nationalCode });
  await showState();
});
onPress('delete-key', 'request', async () => {
  await DigitalSign.deleteKey({ nationalCode: person.nationalCode });
  await showState();
});
onPress('issue', 'certificate', issue);
onPress('store', 'certificate', store);
onPress('sign', 'signature', async () => {
  // The state of the sensor is shown afresh whether or not the signature was made.
  await sign().finally(showBiometrics);
});

const input = element('file', HTMLInputElement);
input.addEventListener('change', () => void attempt('signature', () => choose(input.files?.[0])));
const drop = element('drop');
drop.addEventListener('dragover', (event) => {
  event.preventDefault();
  drop.dataset.over = '';
});
drop.addEventListener('dragleave', () => delete drop.dataset.over);
drop.addEventListener('drop', (event) => {
  event.preventDefault();
  delete drop.dataset.over;
  void attempt('signature', () => choose(event.dataTransfer?.files[0]));
});

await attempt('person', async () => {
  await showBiometrics();
  await showState();
});
