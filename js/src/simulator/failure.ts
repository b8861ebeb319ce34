/** The statuses of the Security framework that this device returns. */
export const status = {
  diskFull: -34,
  io: -36,
  param: -50,
  duplicateItem: -25299,
  itemNotFound: -25300,
  interactionNotAllowed: -25308,
  verifyFailed: -67808,
} as const;

/** An operation that failed, with the platform's status and a sentence for people. */
export class Failure extends Error {
  constructor(
    readonly status: number,
    sentence: string,
  ) {
    super(sentence);
  }
}

/** An item of the keychain that cannot be used. */
export class DamagedItem extends Error {
  readonly name = 'DamagedItem';
}

/** An error as it crosses to the component. */
export interface PlatformError {
  domain: string;
  code: number;
  description: string;
}

/** The answer to the component from an operation that can fail. */
export type Answer<T> = { result: T } | { error: PlatformError };

/**
 * Returns the platform's error for whatever was thrown. Trouble with the device itself is also reported on the page's
 * console, since nobody could find the reason from a status alone.
 */
function reported(thrown: unknown): PlatformError {
  if (thrown instanceof Failure) {
    return { domain: 'NSOSStatusErrorDomain', code: thrown.status, description: thrown.message };
  }
  const { name, message } = thrown instanceof Error ? thrown : new Error(String(thrown));
  const isFull = name === 'QuotaExceededError';
  const description = `The simulated phone's keychain cannot be used (${name}: ${message}).`;
  console.error(`kavrel-crypto simulator: ${description}`);
  return { domain: 'NSOSStatusErrorDomain', code: isFull ? status.diskFull : status.io, description };
}

/** Runs `operation` and answers with its result or with the reason for its failure. Never rejects. */
export async function answer<T>(operation: () => Promise<T>): Promise<Answer<T>> {
  try {
    return { result: await operation() };
  } catch (thrown) {
    return { error: reported(thrown) };
  }
}
