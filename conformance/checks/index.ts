import type { Check } from '../check.js';

import { argumentChecks } from './arguments.js';
import { certificateChecks } from './certificates.js';
import { deviceChecks } from './device.js';
import { keyChecks } from './keys.js';
import { requestChecks } from './requests.js';
import { signingChecks } from './signing.js';

/** Everything that a page can observe of the plugin. */
export const checks: Check[] = [
  ...deviceChecks,
  ...argumentChecks,
  ...keyChecks,
  ...requestChecks,
  ...certificateChecks,
  ...signingChecks,
];

/** What a page cannot bring about, and why. */
export const notRunnable = [
  'createCSR and ensureKey: "ensure_key_failed" needs a device that cannot make a key, such as a locked one.',
  'createCSR: "csr_failed" needs a key that cannot sign.',
  'getKeyInfo: "failed to get public key" needs a key that cannot be exported.',
  'getBiometricStatus: each status but the present one needs another state of the sensor.',
  'storeCertificate: a failed write of the keychain cannot be seen, and cannot be caused.',
  'signDigest: a face that does not match needs somebody else.',
];
