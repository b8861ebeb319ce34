import type { Prompt, PromptPolicy } from './definitions.js';
import type { PlatformError } from './failure.js';
import type { Keychain } from './keychain.js';
import { Queue } from './queue.js';
import type { State } from './storage.js';

type PromptAnswer = 'match' | 'no-match' | 'cancel' | 'cancelled by the system';

const promptsBeforeLockout = 5;

function authenticationError(code: number, description: string): PlatformError {
  return { domain: 'com.apple.LocalAuthentication', code, description };
}

/** Returns why the sensor cannot be used, or null if it can. */
export function obstacle({ biometry, enrolled, lockedOut }: State): PlatformError | null {
  if (biometry === 'none') return authenticationError(-6, 'Biometry is not available on this device.');
  if (!enrolled) return authenticationError(-7, 'No identities are enrolled.');
  if (lockedOut) return authenticationError(-8, 'Biometry is locked out.');
  return null;
}

function withFailureCounted(state: State): State {
  const failedPrompts = state.failedPrompts + 1;
  return { ...state, failedPrompts, lockedOut: state.lockedOut || failedPrompts >= promptsBeforeLockout };
}

/** The biometric sensor of one page. It shows one prompt at a time, in the order in which they were asked for. */
export class Sensor {
  /** Who answers the prompts, from the next one on. */
  prompts: PromptPolicy;

  private readonly queue = new Queue();
  private shown: Prompt | null = null;
  private cancelShown: () => void = () => undefined;
  private cancellations = 0;
  private isClosed = false;

  /** `changed` is told when a prompt comes up or goes. */
  constructor(
    private readonly keychain: Keychain,
    prompts: PromptPolicy,
    private readonly changed: () => void,
  ) {
    this.prompts = prompts;
  }

  /** The prompt that is up. */
  get prompt(): Prompt | null {
    return this.shown;
  }

  /** Evaluates from beginning to end. Resolves with null if the person was recognised, otherwise with the reason. */
  evaluate(reason: string): Promise<PlatformError | null> {
    const { cancellations } = this;
    return this.queue.run(async () => {
      const wasCancelled = () => this.cancellations !== cancellations;
      const reasonAgainst = obstacle(await this.keychain.state());
      if (reasonAgainst && !wasCancelled()) return reasonAgainst;
      return this.outcome(wasCancelled() ? 'cancelled by the system' : await this.ask(reason));
    });
  }

  /** Cancels the prompt that is up and those that wait behind it, as the system does. */
  cancel(): void {
    this.cancellations += 1;
    this.cancelShown();
  }

  /** Cancels every prompt, also those to come. */
  close(): void {
    this.isClosed = true;
    this.cancel();
  }

  private async ask(reason: string): Promise<PromptAnswer> {
    if (this.isClosed) return 'cancelled by the system';
    if (this.prompts !== 'ask') return this.prompts;
    const answer = await new Promise<PromptAnswer>((resolve) => {
      this.cancelShown = () => resolve('cancelled by the system');
      this.show({
        reason,
        match: () => resolve('match'),
        noMatch: () => resolve('no-match'),
        cancel: () => resolve('cancel'),
      });
    });
    this.show(null);
    return answer;
  }

  private show(prompt: Prompt | null): void {
    this.shown = prompt;
    this.changed();
  }

  /** Counts the answer to a prompt and returns what it means. */
  private async outcome(answer: PromptAnswer): Promise<PlatformError | null> {
    switch (answer) {
      case 'match':
        // Most often there is nothing to forget, and no write.
        if ((await this.keychain.state()).failedPrompts !== 0) {
          await this.keychain.changeState((state) => ({ ...state, failedPrompts: 0 }));
        }
        return null;
      case 'no-match':
        await this.keychain.changeState(withFailureCounted);
        return authenticationError(-1, 'Application retry limit exceeded.');
      case 'cancel':
        return authenticationError(-2, 'Canceled by user.');
      case 'cancelled by the system':
        return authenticationError(-4, 'UI canceled by system.');
    }
  }
}
