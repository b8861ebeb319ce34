import type { BiometricStatusResult } from 'kavrel-crypto';

import type { Check } from '../check.js';
import { holds, resolved, resultOf, same } from '../outcome.js';
import { people } from '../people.js';

const statuses = [
  'BIOMETRIC_SUCCESS',
  'BIOMETRIC_ERROR_NO_HARDWARE',
  'BIOMETRIC_ERROR_NONE_ENROLLED',
  'BIOMETRIC_ERROR_LOCKOUT',
  'BIOMETRIC_STATUS_UNKNOWN',
  'UNKNOWN',
];

const twoSeconds = 2000;

export const deviceChecks: Check[] = [
  {
    name: 'getBiometricStatus: resolves with exactly { enabled, status, type }',
    run: async ({ call }) => {
      const result = resultOf(await call('getBiometricStatus'));
      same(Object.keys(result).sort(), ['enabled', 'status', 'type'], 'The members');
    },
  },
  {
    name: 'getBiometricStatus: is enabled exactly when the status is BIOMETRIC_SUCCESS',
    run: async ({ call }) => {
      const { enabled, status } = resultOf<BiometricStatusResult>(await call('getBiometricStatus'));
      holds(statuses.includes(status), `The status is not one of the six: ${status}.`);
      same(enabled, status === 'BIOMETRIC_SUCCESS', '"enabled"');
    },
  },
  {
    name: 'getBiometricStatus: numbers the kind of sensor 0, 1, 2 or 4',
    run: async ({ call }) => {
      const { type } = resultOf<BiometricStatusResult>(await call('getBiometricStatus'));
      holds([0, 1, 2, 4].includes(type), `The type is ${JSON.stringify(type)}.`);
    },
  },
  {
    name: 'setStyle: is still not settled after two seconds, while another call settles',
    run: async ({ call }) => {
      const pending = call('setStyle', {}).then(
        () => 'settled',
        () => 'settled',
      );
      const later = new Promise((resolve) => setTimeout(resolve, twoSeconds, 'pending'));
      same(await call('hasKey', { nationalCode: people.nobody }), resolved({ exists: false }), 'hasKey meanwhile');
      same(await Promise.race([pending, later]), 'pending', 'setStyle');
    },
  },
];
