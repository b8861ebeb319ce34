import { WebPlugin } from '@capacitor/core';

import type { DigitalSignPlugin } from './definitions.js';

const instructions =
  'DigitalSign needs the keychain and the biometric sensor of a device: run this in the iOS app, ' +
  'or make the call in a terminal, on the desktop device, with "kavrel call".';

/** Refuses every call in a plain browser, and says what to do instead. */
export class DigitalSignWeb extends WebPlugin implements DigitalSignPlugin {
  private readonly refuse = async (): Promise<never> => {
    throw this.unavailable(instructions);
  };

  readonly hasKey = this.refuse;
  readonly getKeyInfo = this.refuse;
  readonly deleteKey = this.refuse;
  readonly storeCertificate = this.refuse;
  readonly getCertificate = this.refuse;
  readonly createCSR = this.refuse;
  readonly signDigest = this.refuse;
  readonly ensureKey = this.refuse;
  readonly getBiometricStatus = this.refuse;
}
