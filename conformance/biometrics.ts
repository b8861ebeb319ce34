import type { BiometricStatusResult } from 'kavrel-crypto';

import type { Call } from './outcome.js';
import { resultOf } from './outcome.js';

/** Whether a biometric prompt can be shown now. */
export async function isEnabled(call: Call): Promise<boolean> {
  return resultOf<BiometricStatusResult>(await call('getBiometricStatus')).enabled;
}
