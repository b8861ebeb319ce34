/** The statuses of the Security framework that this device answers with. */
export const status = {
  unimplemented: -4,
  diskFull: -34,
  io: -36,
  param: -50,
  duplicateItem: -25299,
  itemNotFound: -25300,
  interactionNotAllowed: -25308,
  verifyFailed: -67808,
} as const;

/** What could not be done: the status that the platform has for it, and a sentence for people. */
export class Failure extends Error {
  constructor(
    readonly status: number,
    sentence: string,
  ) {
    super(sentence);
  }
}

/** An error as it crosses to the component. */
export interface PlatformError {
  domain: string;
  code: number;
  description: string;
}

/** What an operation that can fail answers to the component. */
export type Answer<T> = { result: T } | { error: PlatformError };

/**
 * The platform's error for whatever was thrown. Trouble with the device itself is also told on the page's console:
 * whoever gets only a status could not find out.
 */
function reported(thrown: unknown): PlatformError {
  if (thrown instanceof Failure) {
    return { domain: 'NSOSStatusErrorDomain', code: thrown.status, description: thrown.message };
  }
  const { name, message } = thrown as Error;
  const isFull = name === 'QuotaExceededError';
  const description = `The simulated phone's keychain cannot be used (${name}: ${message}).`;
  console.error(`kavrel-crypto simulator: ${description}`);
  return { domain: 'NSOSStatusErrorDomain', code: isFull ? status.diskFull : status.io, description };
}

/** Runs `operation` and answers what it gives, or why it fails. Never rejects. */
export async function answer<T>(operation: () => Promise<T>): Promise<Answer<T>> {
  try {
    return { result: await operation() };
  } catch (thrown) {
    return { error: reported(thrown) };
  }
}
