import type { Check } from '../check.js';
import { rejected, same } from '../outcome.js';

const notStrings = [undefined, null, true, 123, 1.5, [], ['self-check-1'], {}, { nationalCode: 'self-check-1' }];

const methods = ['hasKey', 'getKeyInfo', 'deleteKey', 'storeCertificate', 'getCertificate', 'signDigest', 'ensureKey'];

/** How every method with a person treats a national code that is missing or not a string. */
export const argumentChecks: Check[] = methods.map((method) => ({
  name: `${method}: rejects "nationalCode required" unless that is a string, without a code or data`,
  run: async ({ call }) => {
    for (const nationalCode of notStrings) {
      const options = { nationalCode, certPem: 'certificate', digestB64: '' };
      same(await call(method, options), rejected('nationalCode required'), JSON.stringify(options));
    }
  },
}));
