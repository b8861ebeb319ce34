// Uses the whole interface as an app does, with every misuse that the types must catch. It is compiled and never run.
import { BiometryType, DigitalSign } from 'kavrel-crypto';
import type {
  BiometricStatus,
  BiometricStatusResult,
  CreateCSROptions,
  CreateCSRResult,
  DeleteKeyResult,
  DigitalSignPlugin,
  DigitalSignRejection,
  EnsureKeyResult,
  GetCertificateResult,
  HasKeyResult,
  KeyInfo,
  PersonOptions,
  RejectionMessage,
  RejectionMessages,
  SignDigestOptions,
  SignDigestResult,
  StoreCertificateOptions,
  StoreCertificateResult,
  UserInfo,
} from 'kavrel-crypto';
import type { CMSOptions, JWSOptions, Signer } from 'kavrel-crypto/documents';
import { deviceSigner, signCMS, signJWS } from 'kavrel-crypto/documents';
import type { CertificateOptions, PhoneState, Simulator, SimulatorOptions } from 'kavrel-crypto/simulator';
import { startSimulator, TestAuthority } from 'kavrel-crypto/simulator';
import { phone } from 'kavrel-crypto/simulator/ios';

const person: PersonOptions = { nationalCode: '0012345678' };
const certificate: StoreCertificateOptions = { nationalCode: '0012345678', certPem: '' };
const digest: SignDigestOptions = { nationalCode: '0012345678', digestB64: '' };

export async function everyMethod(userInfo: UserInfo): Promise<void> {
  const request: CreateCSROptions = { userInfo };
  const has: HasKeyResult = await DigitalSign.hasKey(person);
  const info: KeyInfo = await DigitalSign.getKeyInfo(person);
  const deleted: DeleteKeyResult = await DigitalSign.deleteKey(person);
  const stored: StoreCertificateResult = await DigitalSign.storeCertificate(certificate);
  const kept: GetCertificateResult = await DigitalSign.getCertificate(person);
  const created: CreateCSRResult = await DigitalSign.createCSR(request);
  const signed: SignDigestResult = await DigitalSign.signDigest(digest);
  const ensured: EnsureKeyResult = await DigitalSign.ensureKey(person);
  const status: BiometricStatusResult = await DigitalSign.getBiometricStatus();

  const booleans: boolean[] = [has.exists, deleted.deleted, stored.stored, ensured.ok, status.enabled];
  const strings: string[] = [info.alias, info.publicKeyPem, created.csrPem, signed.signatureB64, signed.digestB64];
  const constants: ['RSA_2048', 'unknown', false, 'RSA_SHA256'] = [
    info.alg,
    info.createdAt,
    info.hardwareBacked,
    signed.algo,
  ];
  const optional: (string | null)[] = [info.certificate, kept.certPem];
  const why: BiometricStatus = status.status;
  const sensor: BiometryType = status.type;
  void [booleans, strings, constants, optional, why, sensor === BiometryType.faceID];

  // @ts-expect-error an empty slot is null
  kept.certPem.trim();
  // @ts-expect-error the person is a string
  await DigitalSign.hasKey({ nationalCode: 12345678 });
  // @ts-expect-error the person is required
  await DigitalSign.ensureKey({});
  // @ts-expect-error the certificate is required
  await DigitalSign.storeCertificate(person);
  // @ts-expect-error the digest is required
  await DigitalSign.signDigest(person);
  // @ts-expect-error all fourteen members are required
  await DigitalSign.createCSR({ userInfo: { ...userInfo, gender: undefined } });
  // @ts-expect-error the record is one argument, not the arguments themselves
  await DigitalSign.createCSR(userInfo);
  // @ts-expect-error a method that nothing handles
  await DigitalSign.setStyle();
  // @ts-expect-error no such status
  if (status.status === 'BIOMETRIC_ERROR') return;
  // @ts-expect-error no such kind of sensor
  if (status.type === 3) return;
}

export async function whatToDo(): Promise<string> {
  try {
    await DigitalSign.signDigest(digest);
    return 'done';
  } catch (error) {
    const { message, code } = error as DigitalSignRejection<'signDigest'>;
    if (code === 'UNAVAILABLE') return 'open the app';
    switch (message) {
      case 'nationalCode required':
      case 'invalid digestB64':
        return 'correct the call';
      case 'sign_failed':
        return 'ask again';
      // @ts-expect-error signDigest never says so
      case 'csr_failed':
        return '';
      default:
        return message satisfies never;
    }
  }
}

export const anyMessage: RejectionMessage = (new Error() as DigitalSignRejection).message;
export const nothing = (message: RejectionMessages['getBiometricStatus']): never => message;
export const substitute = (plugin: DigitalSignPlugin): DigitalSignPlugin => plugin;

const locked: Partial<PhoneState> = { locked: true };
const enrolled: SimulatorOptions = { people: [{ ...person, certificate: true }], state: locked, keys: 'reused' };
const expired: CertificateOptions = { notAfter: new Date(0) };

export async function simulatedPhone(): Promise<string[]> {
  const started: Simulator = (await phone) ?? (await startSimulator(enrolled));
  started.addEventListener('prompt', ({ type }) => started.log.find(({ method }) => method === type), { once: true });
  const { csrPem }: CreateCSRResult = await started.call('createCSR', { userInfo: {} as UserInfo });
  const answered: Promise<void> = started.nextPrompt().then((prompt) => prompt.match());
  const signed: SignDigestResult = await started.call('signDigest', digest);
  await answered;

  // @ts-expect-error a method that nothing handles
  await started.call('setStyle');
  // @ts-expect-error the person is required
  await started.call('hasKey', {});
  // @ts-expect-error no such operation
  started.failNext('encrypt');
  // @ts-expect-error no such sensor
  await started.set({ biometry: 'voice' });
  await started.stop();
  return [signed.signatureB64, await (await TestAuthority.create()).issue(csrPem, expired)];
}

export async function documents(chain: string): Promise<[Uint8Array, string]> {
  const signer: Signer = await deviceSigner('0012345678');
  const cms: CMSOptions = { chain, attached: true, signingTime: new Date() };
  const jws: JWSOptions = { header: { typ: 'JWT' }, detached: true };

  // @ts-expect-error a text is not bytes
  await signCMS('content', signer);
  // @ts-expect-error a signer has a certificate
  await signJWS('payload', { sign: signer.sign });
  return [await signCMS(new Uint8Array(1), signer, cms), await signJWS('payload', signer, jws)];
}
