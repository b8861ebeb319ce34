import { WebPlugin } from '@capacitor/core';

import type { DigitalSignPlugin } from './definitions.js';

const instructions =
  'DigitalSign needs the keychain and the biometric sensor of a device: run this in the iOS app, start the simulator ' +
  'of kavrel-crypto/simulator in this page, or make the call in a terminal, on the desktop device, with "kavrel call".';

const running = Symbol.for('kavrel-crypto.simulator');

/** The simulator's entry in its page. If it did not start, or was stopped, it rejects every call with the reason. */
interface Simulated {
  phone: Promise<{ call(method: string, options: unknown): Promise<never> }>;
}

/**
 * Hands each call in a browser to the simulator, if there is one, and otherwise refuses it and says what to do. It looks
 * for the simulator at each call, since the runtime makes one object of this class and keeps it.
 */
export class DigitalSignWeb extends WebPlugin implements DigitalSignPlugin {
  private readonly deliver =
    (method: string) =>
    async (options?: unknown): Promise<never> => {
      const simulated = (globalThis as { [running]?: Simulated })[running];
      if (!simulated) throw this.unavailable(instructions);
      return (await simulated.phone).call(method, options);
    };

  readonly setStyle = this.deliver('setStyle');
  readonly hasKey = this.deliver('hasKey');
  readonly getKeyInfo = this.deliver('getKeyInfo');
  readonly deleteKey = this.deliver('deleteKey');
  readonly storeCertificate = this.deliver('storeCertificate');
  readonly getCertificate = this.deliver('getCertificate');
  readonly createCSR = this.deliver('createCSR');
  readonly signDigest = this.deliver('signDigest');
  readonly ensureKey = this.deliver('ensureKey');
  readonly getBiometricStatus = this.deliver('getBiometricStatus');
}
