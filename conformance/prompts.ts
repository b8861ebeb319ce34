import { people } from './people.js';

/** 32 bytes, as a SHA-256 digest has them. */
export const digestB64 = 'LPJNul+wow4m6DsqxbninhsWHlwfp0JecwQzYpOLmCQ=';

const confirm = 'Confirm this one with your face or finger.';

/** Every prompt that a run shows: what the person is asked to answer, and what is to be signed. */
export const prompts = {
  sign: { ask: confirm, answer: 'match', options: { nationalCode: people.enrolled, digestB64 } },
  again: { ask: confirm, answer: 'match', options: { nationalCode: people.enrolled, digestB64 } },
  empty: { ask: confirm, answer: 'match', options: { nationalCode: people.enrolled, digestB64: '' } },
  cancelled: { ask: 'Cancel this one.', answer: 'cancel', options: { nationalCode: people.enrolled, digestB64 } },
  keyless: {
    ask: `${confirm} The person has no key, and that shows only afterwards.`,
    answer: 'match',
    options: { nationalCode: people.nobody, digestB64 },
  },
} as const;

export type PromptName = keyof typeof prompts;
