import type { Prompt, PromptAnswer, PromptPolicy } from '../definitions.js';
import type { PlatformError } from '../failure.js';
import type { Keychain } from '../keychain/keychain.js';
import type { State } from '../keychain/state.js';

/** How a prompt ended. A second prompt ends the one before it. */
type End = PromptAnswer | 'another prompt';

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

/** Whether this program has already been told that nobody answers its prompts. */
let isReported = false;

/** Says once why a prompt was cancelled that nobody could answer. */
function reportCancelled(): void {
  if (isReported) return;
  isReported = true;
  console.warn(
    'kavrel-crypto simulator: a biometric prompt was cancelled, because nobody is here to answer it. Say how prompts are ' +
      "answered, with startSimulator({ prompts: 'match' }) or phone.answerNext('match'), or take them from phone.nextPrompt().",
  );
}

interface Waiting {
  resolve(prompt: Prompt): void;
  reject(error: Error): void;
}

/** The biometric sensor of one page. It shows one prompt at a time: a second one ends the one before it. */
export class Sensor {
  private policy: PromptPolicy;
  private isDefault: boolean;
  private answers: PromptAnswer[] = [];
  private shown: Prompt | null = null;
  private waiting: Waiting[] = [];
  private endShown: (end: End) => void = () => undefined;
  private cancellations = 0;
  private isClosed = false;

  /** Without `prompts` every prompt is cancelled. `changed` is told when a prompt comes up or goes. */
  constructor(
    private readonly keychain: Keychain,
    prompts: PromptPolicy | undefined,
    private readonly changed: () => void,
  ) {
    this.isDefault = prompts === undefined;
    this.policy = prompts ?? 'cancel';
  }

  /** Who answers the prompts, from the next one on. */
  get prompts(): PromptPolicy {
    return this.policy;
  }

  set prompts(policy: PromptPolicy) {
    this.policy = policy;
    this.isDefault = false;
  }

  /** The prompt that is up. */
  get prompt(): Prompt | null {
    return this.shown;
  }

  /** Resolves with the prompt that is up, or the next one that comes up. */
  nextPrompt(): Promise<Prompt> {
    if (this.shown) return Promise.resolve(this.shown);
    return new Promise((resolve, reject) => this.waiting.push({ resolve, reject }));
  }

  /** Answers the next prompts, one each. */
  answerNext(answers: readonly PromptAnswer[]): void {
    this.answers.push(...answers);
  }

  /** Forgets the answers for the next prompts. */
  forgetAnswers(): void {
    this.answers = [];
  }

  /** Evaluates from beginning to end. Resolves with null if the person was recognised, otherwise with the reason. */
  async evaluate(reason: string): Promise<PlatformError | null> {
    const { cancellations } = this;
    const reasonAgainst = obstacle(await this.keychain.state());
    if (this.isClosed || this.cancellations !== cancellations) return this.outcome('interrupt');
    return reasonAgainst ?? this.outcome(await this.ask(reason));
  }

  /** Cancels the prompt that is up and those that are about to come up, as the system does. */
  cancel(): void {
    this.cancellations += 1;
    this.endShown('interrupt');
  }

  /** Cancels every prompt, also those to come. Whoever waits for one is given `error`. */
  close(error: Error): void {
    this.isClosed = true;
    this.cancel();
    for (const { reject } of this.waiting.splice(0)) reject(error);
  }

  private ask(reason: string): End | Promise<End> {
    this.endShown('another prompt');
    const answer = this.answers.shift();
    if (answer !== undefined) return answer;
    if (this.policy === 'ask' || this.waiting.length > 0) return this.show(reason);
    if (this.isDefault) reportCancelled();
    return this.policy;
  }

  /** Shows a prompt. Resolves with its end. */
  private show(reason: string): Promise<End> {
    return new Promise((resolve) => {
      const end = (how: End): void => {
        if (this.shown !== prompt) return;
        this.shown = null;
        this.endShown = () => undefined;
        resolve(how);
        this.changed();
      };
      const prompt: Prompt = {
        reason,
        match: () => end('match'),
        noMatch: () => end('no-match'),
        cancel: () => end('cancel'),
        interrupt: () => end('interrupt'),
      };
      this.shown = prompt;
      this.endShown = end;
      for (const { resolve } of this.waiting.splice(0)) resolve(prompt);
      this.changed();
    });
  }

  /** Counts the end of a prompt and returns what it means. */
  private async outcome(end: End): Promise<PlatformError | null> {
    switch (end) {
      case 'match':
        return this.recognise();
      case 'no-match':
        await this.keychain.changeState(withFailureCounted);
        return authenticationError(-1, 'Application retry limit exceeded.');
      case 'cancel':
        return authenticationError(-2, 'Canceled by user.');
      case 'interrupt':
        return authenticationError(-4, 'UI canceled by system.');
      case 'another prompt':
        return authenticationError(-4, 'Canceled by another authentication.');
    }
  }

  /** Forgets the failures before a match. Returns why the sensor can no longer be used, if it cannot. */
  private async recognise(): Promise<PlatformError | null> {
    const state = await this.keychain.state();
    let reasonAgainst = obstacle(state);
    if (reasonAgainst || state.failedPrompts === 0) return reasonAgainst; // most often there is nothing to forget
    await this.keychain.changeState((present) => {
      reasonAgainst = obstacle(present);
      return reasonAgainst ? present : { ...present, failedPrompts: 0 };
    });
    return reasonAgainst;
  }
}
