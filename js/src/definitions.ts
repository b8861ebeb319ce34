/**
 * A person's keys, certificate request, certificate and signatures.
 *
 * The person is named by `nationalCode`, byte for byte: nothing is trimmed. A call that fails rejects with a
 * `DigitalSignRejection`, whose `message` is one of the fixed texts of `RejectionMessages`.
 */
export interface DigitalSignPlugin {
  /**
   * Tells whether the person has a private key on this device.
   *
   * Rejects with `nationalCode required`.
   *
   * @since 1.0.0
   */
  hasKey(options: PersonOptions): Promise<HasKeyResult>;

  /**
   * Describes the person's key and exports its public half.
   *
   * Rejects with `nationalCode required`, `not found` without a key, or `failed to get public key`.
   *
   * @since 1.0.0
   */
  getKeyInfo(options: PersonOptions): Promise<KeyInfo>;

  /**
   * Deletes the person's key pair and empties the certificate slot, whoever the certificate belongs to. There
   * need not be a key.
   *
   * Rejects with `nationalCode required`.
   *
   * @since 1.0.0
   */
  deleteKey(options: PersonOptions): Promise<DeleteKeyResult>;

  /**
   * Keeps a certificate in the one slot that all persons share, if its public key is the person's. It replaces
   * what was there. A failed write is not reported: read the certificate back with `getCertificate` to be sure.
   *
   * Rejects with `nationalCode required`, `Provide certPem`, `Certificate is not valid (key missing)` or
   * `Certificate is not valid`.
   *
   * @since 1.0.0
   */
  storeCertificate(options: StoreCertificateOptions): Promise<StoreCertificateResult>;

  /**
   * Gives the certificate that is kept, whoever it belongs to.
   *
   * Rejects with `nationalCode required`.
   *
   * @since 1.0.0
   */
  getCertificate(options: PersonOptions): Promise<GetCertificateResult>;

  /**
   * Builds and signs a certification request (PKCS #10, RFC 2986) for the person. A key pair is made first where
   * there is none; an existing one is kept.
   *
   * Rejects with `userInfo required`, `invalid userInfo`, `nationalCode required` for an empty one,
   * `ensure_key_failed` or `csr_failed`. The last two carry the reason in `code`.
   *
   * @since 1.0.0
   */
  createCSR(options: CreateCSROptions): Promise<CreateCSRResult>;

  /**
   * Asks for Face ID or Touch ID, then signs with the person's private key: RSASSA-PKCS1-v1_5 over SHA-256 of the
   * bytes in `digestB64`. The bytes are hashed once more, so the signature of a digest is not the signature of
   * the data that was digested.
   *
   * Rejects with `nationalCode required`, `invalid digestB64`, or `sign_failed` whatever went wrong after that: no
   * biometrics, a prompt that was cancelled or not matched, no key.
   *
   * @since 1.0.0
   */
  signDigest(options: SignDigestOptions): Promise<SignDigestResult>;

  /**
   * Makes a new key pair for the person. A pair that exists is destroyed, in spite of the method's name, and a
   * certificate that was stored for it stays and no longer matches: ask `hasKey` first.
   *
   * Rejects with `nationalCode required`, or `ensure_key_failed` with the reason in `code`.
   *
   * @since 1.0.0
   */
  ensureKey(options: PersonOptions): Promise<EnsureKeyResult>;

  /**
   * Tells whether the device can ask for Face ID or Touch ID right now, and why not if it cannot. Shows nothing to
   * the person. Never rejects on the phone.
   *
   * @since 1.0.0
   */
  getBiometricStatus(): Promise<BiometricStatusResult>;
}

export interface PersonOptions {
  /**
   * The person. Any text; an empty one names a person too.
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
   * One X.509 certificate as PEM text.
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
 * A person's identity record. All fourteen members are required, those that the request does not hold included.
 * Each is a text, may be empty (except `nationalCode`), and is kept as it is.
 */
export interface UserInfo {
  /**
   * Not in the request.
   *
   * @since 1.0.0
   */
  identificationId: string;

  /**
   * The request's common name and serial number, and the name of the key. Not empty.
   *
   * @since 1.0.0
   */
  nationalCode: string;

  /**
   * Not in the request.
   *
   * @since 1.0.0
   */
  name: string;

  /**
   * Not in the request.
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
   * The request's postal code.
   *
   * @since 1.0.0
   */
  postalCode: string;

  /**
   * Not in the request.
   *
   * @since 1.0.0
   */
  phoneNumber: string;

  /**
   * Not in the request.
   *
   * @since 1.0.0
   */
  birthCertificateId: string;

  /**
   * Not in the request.
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
   * Not in the request.
   *
   * @since 1.0.0
   */
  gender: string;

  /**
   * Not in the request.
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
   * Whether the private key is there.
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
   * The kind of every key.
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
   * Keys are keychain items, outside the Secure Enclave.
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
   * The certificate in the slot, whoever it belongs to; null when the slot is empty.
   *
   * @since 1.0.0
   */
  certificate: string | null;
}

export interface DeleteKeyResult {
  /**
   * True, also when there was nothing to delete.
   *
   * @since 1.0.0
   */
  deleted: true;
}

export interface StoreCertificateResult {
  /**
   * True: the certificate is the person's.
   *
   * @since 1.0.0
   */
  stored: true;
}

export interface GetCertificateResult {
  /**
   * The certificate as it was stored; null when the slot is empty.
   *
   * @since 1.0.0
   */
  certPem: string | null;
}

export interface CreateCSRResult {
  /**
   * The request in DER as one line of base64. In spite of the name there is no PEM header or footer.
   *
   * @since 1.0.0
   */
  csrPem: string;
}

export interface SignDigestResult {
  /**
   * The signature in standard base64: 256 bytes.
   *
   * @since 1.0.0
   */
  signatureB64: string;

  /**
   * The scheme of every signature.
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
   * True: the new pair is there.
   *
   * @since 1.0.0
   */
  ok: true;
}

export interface BiometricStatusResult {
  /**
   * Whether a prompt can be shown now.
   *
   * @since 1.0.0
   */
  enabled: boolean;

  /**
   * Why, or why not.
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
 * - `BIOMETRIC_SUCCESS`: a prompt can be shown.
 * - `BIOMETRIC_ERROR_NO_HARDWARE`: there is no sensor, or the app may not use it.
 * - `BIOMETRIC_ERROR_NONE_ENROLLED`: no face or finger is enrolled.
 * - `BIOMETRIC_ERROR_LOCKOUT`: after too many failures; unlocking the device with its passcode lifts it.
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
 * The kinds of sensor, numbered as the platform numbers them.
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
 * What each method rejects with.
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
 * Every message that some method rejects with.
 */
export type RejectionMessage = RejectionMessages[keyof DigitalSignPlugin];

/**
 * What a method rejects with: `DigitalSignRejection<'signDigest'>`.
 */
export interface DigitalSignRejection<Method extends keyof DigitalSignPlugin = keyof DigitalSignPlugin> extends Error {
  /**
   * What went wrong.
   *
   * @since 1.0.0
   */
  message: RejectionMessages[Method];

  /**
   * With `ensure_key_failed` and `csr_failed` the device's own description of the failure, for a log. Otherwise
   * absent, save that outside the app it is `UNAVAILABLE` and the message says what to do.
   *
   * @since 1.0.0
   */
  code?: string;
}
