import type {
  Item,
  LogEntry,
  PhoneState,
  Prompt,
  PromptPolicy,
  SimulatorEvent,
} from '../../src/simulator/definitions.js';
import type { Phone } from '../../src/simulator/panel/view.js';

const newPhone: PhoneState = { biometry: 'faceID', enrolled: true, lockedOut: false, locked: false, firstUnlock: true };

/** A phone that does what a test says: it has no component, and only tells the panel what the test made up. */
export class ScriptedPhone extends EventTarget implements Phone {
  readonly name = 'default';
  readonly storage = 'indexeddb';
  prompt: Prompt | null = null;
  log: LogEntry[] = [];
  console: string[] = [];
  failure: string | null = null;

  /** What the panel asked of the phone, and how the prompts were answered. */
  readonly asked: string[] = [];
  /** What the next call of `set` rejects with. */
  refusal: Error | null = null;

  private current = newPhone;
  private stored: Item[] = [];
  private policy: PromptPolicy = 'ask';

  /** Changes members of the phone and tells of it. */
  script(change: Partial<Pick<ScriptedPhone, 'log' | 'console' | 'failure'>>, event: SimulatorEvent): void {
    Object.assign(this, change);
    this.tell(event);
  }

  store(items: Item[]): void {
    this.stored = items;
    this.tell('items');
  }

  /** Shows a prompt. Returns how it is answered. */
  ask(reason: string): Promise<string> {
    return new Promise((resolve) => {
      const answer = (how: string) => () => {
        if (this.prompt !== prompt) return;
        this.asked.push(how);
        this.prompt = null;
        resolve(how);
        setTimeout(() => this.tell('prompt')); // as late as a phone may be
      };
      const prompt = {
        reason,
        match: answer('match'),
        noMatch: answer('noMatch'),
        cancel: answer('cancel'),
        interrupt: answer('interrupt'),
      };
      this.prompt = prompt;
      this.tell('prompt');
    });
  }

  get prompts(): PromptPolicy {
    return this.policy;
  }

  set prompts(policy: PromptPolicy) {
    this.policy = policy;
    this.tell('prompts');
  }

  async state(): Promise<PhoneState> {
    return { ...this.current };
  }

  async set(change: Partial<PhoneState>): Promise<void> {
    this.asked.push(`set ${JSON.stringify(change)}`);
    if (this.refusal) throw this.refusal;
    this.current = { ...this.current, ...change };
    this.tell('state');
    if (change.locked && this.prompt) {
      this.prompt = null;
      this.tell('prompt');
    }
  }

  async items(): Promise<Item[]> {
    return this.stored;
  }

  async reset(): Promise<void> {
    this.asked.push('reset');
    this.current = newPhone;
    this.stored = [];
    this.tell('state');
    this.tell('items');
  }

  async restart(): Promise<void> {
    this.asked.push('restart');
    this.failure = null;
    this.tell('started');
  }

  private tell(event: SimulatorEvent): void {
    this.dispatchEvent(new Event(event));
  }
}
