import type { CertificateOptions } from '../definitions.js';
import type { Rule } from '../input/rules.js';
import { boolean, checked, object, worded } from '../input/rules.js';

import { attributeTypes } from './names.js';

const certificateOptions: Record<keyof CertificateOptions, Rule> = {
  notAfter: [(value) => value instanceof Date && !Number.isNaN(value.getTime()), 'a valid Date'],
  subject: object,
  forAnotherKey: boolean,
  withChain: boolean,
};

export function checkedCertificateOptions(value: unknown): CertificateOptions {
  const options = checked<CertificateOptions>(value, certificateOptions, 'issue');
  const types = Object.keys(attributeTypes).join(', ');
  for (const [type, text] of Object.entries(options.subject ?? {})) {
    const isKnown = Object.hasOwn(attributeTypes, type) || /^[0-2](\.(0|[1-9]\d*))+$/.test(type);
    if (!isKnown) throw new TypeError(`issue, in subject, does not know "${type}". It takes ${types} and identifiers.`);
    if (typeof text !== 'string')
      throw new TypeError(`issue, in subject, takes a string as ${type}, and this is ${worded(text)}.`);
  }
  return options;
}
