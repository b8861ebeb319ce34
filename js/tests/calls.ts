import type { DigitalSignPlugin, DigitalSignRejection, RejectionMessages } from '../src/definitions.js';

/** The method table of the plugin, in its order. */
export const registeredMethods = [
  'setStyle',
  'hasKey',
  'getKeyInfo',
  'deleteKey',
  'storeCertificate',
  'getCertificate',
  'createCSR',
  'signDigest',
  'ensureKey',
  'getBiometricStatus',
];

export type Method = keyof DigitalSignPlugin;

interface Call<M extends Method> {
  options: Parameters<DigitalSignPlugin[M]>[0];
  result: Awaited<ReturnType<DigitalSignPlugin[M]>>;
  /** The code that comes with each message. A missing message does not compile, and neither does one too many. */
  rejections: Record<RejectionMessages[M], string | undefined>;
}

const nationalCode = '0012345678';
const certPem = '-----BEGIN CERTIFICATE-----\nMAA=\n-----END CERTIFICATE-----\n';
const digestB64 = 'LPJNul+wow4m6DsqxbninhsWHlwfp0JecwQzYpOLmCQ=';
const description = 'The operation couldn’t be completed. (OSStatus error -34018.)';

/** A call of every method, with everything that it may resolve or reject with. */
export const calls: { [M in Method]: Call<M> } = {
  hasKey: {
    options: { nationalCode },
    result: { exists: true },
    rejections: { 'nationalCode required': undefined },
  },
  getKeyInfo: {
    options: { nationalCode },
    result: {
      alias: nationalCode,
      alg: 'RSA_2048',
      createdAt: 'unknown',
      hardwareBacked: false,
      publicKeyPem: '-----BEGIN PUBLIC KEY-----\nMAA=\r\nMAA=\n-----END PUBLIC KEY-----',
      certificate: null,
    },
    rejections: {
      'nationalCode required': undefined,
      'not found': undefined,
      'failed to get public key': undefined,
    },
  },
  deleteKey: {
    options: { nationalCode },
    result: { deleted: true },
    rejections: { 'nationalCode required': undefined },
  },
  storeCertificate: {
    options: { nationalCode, certPem },
    result: { stored: true },
    rejections: {
      'nationalCode required': undefined,
      'Provide certPem': undefined,
      'Certificate is not valid (key missing)': undefined,
      'Certificate is not valid': undefined,
    },
  },
  getCertificate: {
    options: { nationalCode },
    result: { certPem },
    rejections: { 'nationalCode required': undefined },
  },
  createCSR: {
    options: {
      userInfo: {
        identificationId: '1',
        nationalCode,
        name: 'نام',
        lastName: 'نام خانوادگی',
        enName: 'Ada',
        enLastName: 'Byron',
        postalCode: '1234567890',
        phoneNumber: '',
        birthCertificateId: '',
        birthDate: '',
        city: 'Shiraz',
        provinceName: 'Fars',
        gender: '',
        citizenship: '',
      },
    },
    result: { csrPem: 'MAA=' },
    rejections: {
      'userInfo required': undefined,
      'invalid userInfo': undefined,
      'nationalCode required': undefined,
      ensure_key_failed: description,
      csr_failed: description,
    },
  },
  signDigest: {
    options: { nationalCode, digestB64 },
    result: { signatureB64: 'c2lnbmF0dXJl', algo: 'RSA_SHA256', digestB64 },
    rejections: {
      'nationalCode required': undefined,
      'invalid digestB64': undefined,
      sign_failed: undefined,
    },
  },
  ensureKey: {
    options: { nationalCode },
    result: { ok: true },
    rejections: { 'nationalCode required': undefined, ensure_key_failed: description },
  },
  getBiometricStatus: {
    options: undefined,
    result: { enabled: true, status: 'BIOMETRIC_SUCCESS', type: 2 },
    rejections: {},
  },
};

export const methods = Object.keys(calls) as Method[];

/** Calls `method` as an app does. */
export function call(plugin: DigitalSignPlugin, method: Method): Promise<unknown> {
  return (plugin[method] as (options: unknown) => Promise<unknown>)(calls[method].options);
}

/** Returns what a call rejects with. Rejects if the call resolves. */
export async function rejectionOf(pending: Promise<unknown>): Promise<DigitalSignRejection> {
  const resolved = new Error('the call was resolved');
  return pending.then(
    () => Promise.reject(resolved),
    (rejection) => rejection,
  );
}
