/**
 * Manages a person's key pair and certificate, and signs with that key.
 *
 * The person is named by `nationalCode`, byte for byte: nothing is trimmed. A call that fails rejects with a
 * `DigitalSignRejection`, whose `message` is one of the fixed strings in `RejectionMessages`.
 */
export interface DigitalSignPlugin {
  /**
   * Tells whether the person has a private key on this device. A key may be there from an earlier installation: the
   * keychain can outlive the app.
   *
   * Rejects with `nationalCode required`.
   *
   * @since 1.0.0
   */
  hasKey(options: PersonOptions): Promise<HasKeyResult>;

  /**
   * Describes the person's key and exports its public half.
   *
   * Rejects with `nationalCode required`, with `not found` if there is no key, or with `failed to get public key`.
   *
   * @since 1.0.0
   */
  getKeyInfo(options: PersonOptions): Promise<KeyInfo>;

  /**
   * Deletes the person's key pair and empties the certificate slot, whoever the certificate belongs to. It resolves
   * whether or not there was anything to delete.
   *
   * Rejects with `nationalCode required`.
   *
   * @since 1.0.0
   */
  deleteKey(options: PersonOptions): Promise<DeleteKeyResult>;

  /**
   * Stores a certificate in the one slot that all persons share, provided that its public key is the person's. It
   * replaces what was there. A failed write is not reported: read the certificate back with `getCertificate` to be
   * sure.
   *
   * Rejects with `nationalCode required`, `Provide certPem`, `Certificate is not valid (key missing)` or
   * `Certificate is not valid`.
   *
   * @since 1.0.0
   */
  storeCertificate(options: StoreCertificateOptions): Promise<StoreCertificateResult>;

  /**
   * Returns the stored certificate, whoever it belongs to. It may be from an earlier installation: the keychain can
   * outlive the app.
   *
   * Rejects with `nationalCode required`.
   *
   * @since 1.0.0
   */
  getCertificate(options: PersonOptions): Promise<GetCertificateResult>;

  /**
   * Builds a certification request (PKCS #10, RFC 2986) for the person and signs it with the person's key, without a
   * biometric prompt. If the person has no key pair, one is made first; an existing one is kept.
   *
   * Rejects with `userInfo required`, with `invalid userInfo`, with `nationalCode required` if that member is empty,
   * or with `ensure_key_failed` or `csr_failed`, which carry the reason in `code`.
   *
   * @since 1.0.0
   */
  createCSR(options: CreateCSROptions): Promise<CreateCSRResult>;

  /**
   * Asks for Face ID or Touch ID, then signs with the person's private key: RSASSA-PKCS1-v1_5 over SHA-256 of the
   * bytes in `digestB64`. Those bytes are hashed once more, so the signature of a digest is not the signature of the
   * data that was digested.
   *
   * For Face ID the app must have an `NSFaceIDUsageDescription` in its Info.plist. Without one, iOS stops the app at
   * the first prompt, and the call is never settled.
   *
   * Make one call at a time. Each call wants a prompt of its own, and no call waits for another.
   *
   * Rejects with `nationalCode required`, with `invalid digestB64`, or with `sign_failed` for anything that goes wrong
   * after that: no biometrics, a prompt that was cancelled or not matched, no key.
   *
   * @since 1.0.0
   */
  signDigest(options: SignDigestOptions): Promise<SignDigestResult>;

  /**
   * Makes a new key pair for the person. In spite of the method's name, an existing pair is destroyed. A certificate
   * that was stored for it stays in the slot and no longer matches: ask `hasKey` first.
   *
   * Rejects with `nationalCode required`, or with `ensure_key_failed`, which carries the reason in `code`.
   *
   * @since 1.0.0
   */
  ensureKey(options: PersonOptions): Promise<EnsureKeyResult>;

  /**
   * Tells whether the device can ask for Face ID or Touch ID right now and, if it cannot, why. It shows the person
   * nothing, and it never rejects on the phone.
   *
   * @since 1.0.0
   */
  getBiometricStatus(): Promise<BiometricStatusResult>;
}

export interface PersonOptions {
  /**
   * The person. Any string will do; the empty string names a person too.
   *
   * @since 1.0.0
   */
  nationalCode: string;
}

export interface StoreCertificateOptions {
  /**
   * The person whose key the certificate was issued for.
   *
   * @since 1.0.0
   */
  nationalCode: string;

  /**
   * The X.509 certificate in PEM. Pass exactly one: of a chain, the person's own certificate and nothing else.
   *
   * @since 1.0.0
   */
  certPem: string;
}

export interface CreateCSROptions {
  /**
   * The person to be certified. `userInfo.nationalCode` names the key.
   *
   * @since 1.0.0
   */
  userInfo: UserInfo;
}

/**
 * A person's identity record. All fourteen members are required strings, even the eight that are not part of the
 * request. Any of them but `nationalCode` may be empty. Nothing is trimmed or converted.
 */
export interface UserInfo {
  /**
   * Required, but not part of the request.
   *
   * @since 1.0.0
   */
  identificationId: string;

  /**
   * The request's common name and serial number, and the name under which the key is kept. It must not be empty, and
   * must be ASCII: with other characters, such as Persian digits, the request is one that no parser accepts. Convert
   * the digits first, and pass the same string to every other method.
   *
   * @since 1.0.0
   */
  nationalCode: string;

  /**
   * Required, but not part of the request.
   *
   * @since 1.0.0
   */
  name: string;

  /**
   * Required, but not part of the request.
   *
   * @since 1.0.0
   */
  lastName: string;

  /**
   * The request's given name.
   *
   * @since 1.0.0
   */
  enName: string;

  /**
   * The request's surname.
   *
   * @since 1.0.0
   */
  enLastName: string;

  /**
   * The request's postal code. It must be ASCII, as `nationalCode` must.
   *
   * @since 1.0.0
   */
  postalCode: string;

  /**
   * Required, but not part of the request.
   *
   * @since 1.0.0
   */
  phoneNumber: string;

  /**
   * Required, but not part of the request.
   *
   * @since 1.0.0
   */
  birthCertificateId: string;

  /**
   * Required, but not part of the request.
   *
   * @since 1.0.0
   */
  birthDate: string;

  /**
   * The request's locality name.
   *
   * @since 1.0.0
   */
  city: string;

  /**
   * The request's state or province name.
   *
   * @since 1.0.0
   */
  provinceName: string;

  /**
   * Required, but not part of the request.
   *
   * @since 1.0.0
   */
  gender: string;

  /**
   * Required, but not part of the request.
   *
   * @since 1.0.0
   */
  citizenship: string;
}

export interface SignDigestOptions {
  /**
   * The person whose key signs.
   *
   * @since 1.0.0
   */
  nationalCode: string;

  /**
   * The bytes to sign, of any length, in standard base64 with padding and without white space.
   *
   * @since 1.0.0
   */
  digestB64: string;
}

export interface HasKeyResult {
  /**
   * Whether the person has a private key.
   *
   * @since 1.0.0
   */
  exists: boolean;
}

export interface KeyInfo {
  /**
   * The `nationalCode` as received.
   *
   * @since 1.0.0
   */
  alias: string;

  /**
   * Every key is of this kind.
   *
   * @since 1.0.0
   */
  alg: 'RSA_2048';

  /**
   * No creation time is recorded.
   *
   * @since 1.0.0
   */
  createdAt: 'unknown';

  /**
   * Always false: keys are kept in the keychain and not in the Secure Enclave.
   *
   * @since 1.0.0
   */
  hardwareBacked: false;

  /**
   * The public key. Under the label "PUBLIC KEY" it holds a PKCS #1 `RSAPublicKey` (RFC 8017), not a
   * SubjectPublicKeyInfo, and its base64 lines end with CR LF.
   *
   * @since 1.0.0
   */
  publicKeyPem: string;

  /**
   * The certificate in the slot, whoever it belongs to, or null if the slot is empty.
   *
   * @since 1.0.0
   */
  certificate: string | null;
}

export interface DeleteKeyResult {
  /**
   * Always true, even if there was nothing to delete.
   *
   * @since 1.0.0
   */
  deleted: true;
}

export interface StoreCertificateResult {
  /**
   * Always true: the certificate is the person's. It does not say that the keychain took it.
   *
   * @since 1.0.0
   */
  stored: true;
}

export interface GetCertificateResult {
  /**
   * The certificate exactly as it was stored, or null if the slot is empty.
   *
   * @since 1.0.0
   */
  certPem: string | null;
}

export interface CreateCSRResult {
  /**
   * The request in DER, as one line of base64. In spite of the name there is no PEM header or footer.
   *
   * @since 1.0.0
   */
  csrPem: string;
}

export interface SignDigestResult {
  /**
   * The signature, 256 bytes, in standard base64.
   *
   * @since 1.0.0
   */
  signatureB64: string;

  /**
   * Every signature is of this kind: RSASSA-PKCS1-v1_5 with SHA-256.
   *
   * @since 1.0.0
   */
  algo: 'RSA_SHA256';

  /**
   * The `digestB64` as received.
   *
   * @since 1.0.0
   */
  digestB64: string;
}

export interface EnsureKeyResult {
  /**
   * Always true.
   *
   * @since 1.0.0
   */
  ok: true;
}

export interface BiometricStatusResult {
  /**
   * Whether a prompt can be shown right now.
   *
   * @since 1.0.0
   */
  enabled: boolean;

  /**
   * Whether a prompt can be shown and, if not, the reason.
   *
   * @since 1.0.0
   */
  status: BiometricStatus;

  /**
   * The kind of sensor.
   *
   * @since 1.0.0
   */
  type: BiometryType;
}

/**
 * Whether a biometric prompt can be shown and, if not, why:
 *
 * - `BIOMETRIC_SUCCESS`: a prompt can be shown.
 * - `BIOMETRIC_ERROR_NO_HARDWARE`: there is no sensor, or the app may not use it.
 * - `BIOMETRIC_ERROR_NONE_ENROLLED`: no face or finger is enrolled.
 * - `BIOMETRIC_ERROR_LOCKOUT`: too many attempts failed. Unlocking the device with its passcode ends this.
 * - `BIOMETRIC_STATUS_UNKNOWN`: the device gave another reason.
 * - `UNKNOWN`: the device gave no reason.
 */
export type BiometricStatus =
  | 'BIOMETRIC_SUCCESS'
  | 'BIOMETRIC_ERROR_NO_HARDWARE'
  | 'BIOMETRIC_ERROR_NONE_ENROLLED'
  | 'BIOMETRIC_ERROR_LOCKOUT'
  | 'BIOMETRIC_STATUS_UNKNOWN'
  | 'UNKNOWN';

/**
 * The kinds of biometric sensor, with the platform's numbers.
 */
export enum BiometryType {
  /**
   * @since 1.0.0
   */
  none = 0,

  /**
   * @since 1.0.0
   */
  touchID = 1,

  /**
   * @since 1.0.0
   */
  faceID = 2,

  /**
   * @since 1.0.0
   */
  opticID = 4,
}

/**
 * The messages that each method rejects with.
 */
export interface RejectionMessages {
  /**
   * @since 1.0.0
   */
  hasKey: 'nationalCode required';

  /**
   * @since 1.0.0
   */
  getKeyInfo: 'nationalCode required' | 'not found' | 'failed to get public key';

  /**
   * @since 1.0.0
   */
  deleteKey: 'nationalCode required';

  /**
   * @since 1.0.0
   */
  storeCertificate:
    'nationalCode required' | 'Provide certPem' | 'Certificate is not valid (key missing)' | 'Certificate is not valid';

  /**
   * @since 1.0.0
   */
  getCertificate: 'nationalCode required';

  /**
   * @since 1.0.0
   */
  createCSR: 'userInfo required' | 'invalid userInfo' | 'nationalCode required' | 'ensure_key_failed' | 'csr_failed';

  /**
   * @since 1.0.0
   */
  signDigest: 'nationalCode required' | 'invalid digestB64' | 'sign_failed';

  /**
   * @since 1.0.0
   */
  ensureKey: 'nationalCode required' | 'ensure_key_failed';

  /**
   * @since 1.0.0
   */
  getBiometricStatus: never;
}

/**
 * Any message that a method rejects with.
 */
export type RejectionMessage = RejectionMessages[keyof DigitalSignPlugin];

/**
 * What a call rejects with. `DigitalSignRejection<'signDigest'>` is the type for one method.
 */
export interface DigitalSignRejection<Method extends keyof DigitalSignPlugin = keyof DigitalSignPlugin> extends Error {
  /**
   * Tells what went wrong. It is for the program, not for the person: compare it, and show words of your own.
   *
   * @since 1.0.0
   */
  message: RejectionMessages[Method];

  /**
   * The device's own description of the failure, for a log, if the message is `ensure_key_failed` or `csr_failed`.
   * Outside the app it is the runtime's code, such as `UNAVAILABLE`. Otherwise it is absent.
   *
   * @since 1.0.0
   */
  code?: string;
}
