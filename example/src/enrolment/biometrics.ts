import type { BiometricStatus, BiometricStatusResult } from 'kavrel-crypto';
import { BiometryType } from 'kavrel-crypto';

const sensors: Record<BiometryType, string> = {
  [BiometryType.none]: 'No biometric sensor',
  [BiometryType.touchID]: 'Touch ID',
  [BiometryType.faceID]: 'Face ID',
  [BiometryType.opticID]: 'Optic ID',
};

const states: Record<BiometricStatus, string> = {
  BIOMETRIC_SUCCESS: 'is ready.',
  BIOMETRIC_ERROR_NO_HARDWARE: 'cannot be used: there is no sensor, or the app may not use it.',
  BIOMETRIC_ERROR_NONE_ENROLLED: 'is not set up. Set it up in Settings.',
  BIOMETRIC_ERROR_LOCKOUT: 'is locked after too many attempts. Lock the device and unlock it with its passcode.',
  BIOMETRIC_STATUS_UNKNOWN: 'cannot be used now.',
  UNKNOWN: 'cannot be used now.',
};

/** The state of the sensor, as a person is told it. */
export function biometricsInWords({ status, type }: BiometricStatusResult): string {
  return `${sensors[type]} ${states[status]}`;
}
