import { receivedOptions } from './arguments.js';
import type { Item, LogEntry, PhoneState, Prompt, PromptPolicy, Simulator, SimulatorEvent } from './definitions.js';
import { Keychain } from './keychain.js';
import { Log } from './log.js';
import { checkedPolicy, checkedState } from './options.js';
import { Process } from './process.js';
import { Queue } from './queue.js';
import { Sensor } from './sensor.js';
import type { State, Storage } from './storage.js';

/** A message from a phone to the other pages that share it. */
type Message = 'items' | 'state' | 'cancel';

/** Returns the error that a call of the plugin rejects with: the runtime's exception if the runtime is loaded. */
export function rejection(message: string, code?: string): Error {
  const { Capacitor } = globalThis as { Capacitor?: { Exception?: new (message: string) => Error } };
  const error = new (Capacitor?.Exception ?? Error)(message);
  return Object.assign(error, { errorMessage: message }, code === undefined ? {} : { code });
}

/** Returns the state with `change` applied. Naming one of `locked` and `firstUnlock` may decide the other as well. */
function changed(state: State, change: Partial<PhoneState>): State {
  const implied: Partial<PhoneState> = {
    ...(change.locked === false && { firstUnlock: true }),
    ...(change.firstUnlock === false && { locked: true }),
  };
  const made = { ...state, ...implied, ...change };
  if (!made.locked && !made.firstUnlock) {
    throw new RangeError('A phone that was never unlocked is locked: locked false does not go with firstUnlock false.');
  }
  // Otherwise the next failure would lock the sensor out again.
  return change.lockedOut === false ? { ...made, failedPrompts: 0 } : made;
}

/** The name of the phone's channel, through which its pages hear of each other's changes. */
const channelName = (phone: string): string => `kavrel-crypto/${phone}`;

export class SimulatedPhone extends EventTarget implements Simulator {
  failure: string | null = null;

  private readonly queue = new Queue();
  private readonly record = new Log((what) => this.tell(what));
  private readonly keychain: Keychain;
  private readonly sensor: Sensor;
  private readonly channel: BroadcastChannel | undefined;
  private process: Process;
  private methods: string[] = [];
  private stopped: Promise<void> | undefined;

  /** `onStop` is called when the phone begins to stop. */
  constructor(
    readonly name: string,
    private readonly kept: Storage,
    prompts: PromptPolicy,
    private readonly onStop: () => void,
  ) {
    super();
    this.keychain = new Keychain(kept, (what) => this.announce(what));
    this.sensor = new Sensor(this.keychain, prompts, () => this.tell('prompt'));
    this.channel = kept.kind === 'indexeddb' ? this.joined() : undefined;
    this.process = this.newProcess();
  }

  /** Starts the process. Call it once, before the first call of the plugin. */
  async start(): Promise<void> {
    this.methods = await this.process.start();
  }

  get storage(): Storage['kind'] {
    return this.kept.kind;
  }

  get prompts(): PromptPolicy {
    return this.sensor.prompts;
  }

  set prompts(policy: PromptPolicy) {
    this.sensor.prompts = checkedPolicy(policy);
    this.tell('prompts');
  }

  get prompt(): Prompt | null {
    return this.sensor.prompt;
  }

  get log(): readonly LogEntry[] {
    return this.record.calls;
  }

  get console(): readonly string[] {
    return this.record.lines;
  }

  call(method: string, options?: object | null): Promise<object> {
    return new Promise((resolve, reject) => {
      this.requireRunning();
      const received = receivedOptions(options);
      if (!this.methods.includes(method)) {
        throw new TypeError(`The plugin has no method "${String(method)}". It has ${this.methods.join(', ')}.`);
      }
      const end = this.record.begin(method, received);
      if (this.failure !== null) return end({ outcome: 'unfinished' });
      this.process.enter(async (component) => {
        const isHandled = await component.perform(method, {
          options: received,
          resolve: (result) => {
            end({ outcome: 'resolved', result });
            resolve(result);
          },
          reject: (message, code) => {
            end({ outcome: 'rejected', error: code === undefined ? { message } : { message, code } });
            reject(rejection(message, code));
          },
        });
        if (!isHandled) end({ outcome: 'unfinished' });
      });
    });
  }

  async state(): Promise<PhoneState> {
    const { biometry, enrolled, lockedOut, locked, firstUnlock } = await this.inTurn(() => this.keychain.state());
    return { biometry, enrolled, lockedOut, locked, firstUnlock };
  }

  async set(change: Partial<PhoneState>): Promise<void> {
    const wanted = checkedState(change);
    await this.inTurn(async () => {
      await this.keychain.changeState((state) => changed(state, wanted));
      if (wanted.locked || wanted.firstUnlock === false) this.cancelPrompts();
    });
  }

  async items(): Promise<Item[]> {
    return this.inTurn(() => this.keychain.items());
  }

  async reset(): Promise<void> {
    await this.inTurn(async () => {
      await this.keychain.reset();
      this.cancelPrompts();
    });
  }

  async restart(): Promise<void> {
    this.requireRunning();
    this.process.end();
    this.abandonCalls();
    this.failure = null;
    this.process = this.newProcess();
    await this.process.start();
    this.tell('started');
  }

  stop(): Promise<void> {
    this.stopped ??= this.shutDown();
    return this.stopped;
  }

  private async shutDown(): Promise<void> {
    this.onStop();
    this.sensor.close();
    await this.record.idle();
    await this.queue.run(() => this.process.end());
    this.channel?.close();
    this.kept.close();
    this.tell('stopped');
  }

  private newProcess(): Process {
    return new Process(this.keychain, this.sensor, this.queue, {
      printed: (line) => this.record.print(line),
      crashed: (reason) => this.crash(reason),
    });
  }

  private crash(reason: string): void {
    this.failure = reason;
    this.abandonCalls();
    console.error(
      `kavrel-crypto simulator: the app's process stopped, because this did not hold: ${reason}. ` +
        'Its calls never settle, as on the phone. Start the app again with restart().',
    );
    this.tell('stopped');
  }

  /** Gives up the pending calls, and the prompts with them: no prompt outlives the app that asked for it. */
  private abandonCalls(): void {
    this.record.abandon();
    this.sensor.cancel();
  }

  private cancelPrompts(): void {
    this.sensor.cancel();
    this.channel?.postMessage('cancel' satisfies Message);
  }

  /** Does `work` after everything that was asked of the phone before. */
  private async inTurn<T>(work: () => Promise<T>): Promise<T> {
    this.requireRunning();
    return this.queue.run(work);
  }

  private requireRunning(): void {
    if (this.stopped)
      throw rejection('The simulator was stopped. Start it again with startSimulator().', 'UNAVAILABLE');
  }

  private tell(type: SimulatorEvent): void {
    this.dispatchEvent(new Event(type));
  }

  private announce(what: 'items' | 'state'): void {
    this.tell(what);
    this.channel?.postMessage(what satisfies Message);
  }

  private joined(): BroadcastChannel {
    const channel = new BroadcastChannel(channelName(this.name));
    channel.onmessage = ({ data }: MessageEvent<Message>) =>
      data === 'cancel' ? this.sensor.cancel() : this.tell(data);
    // In Node.js a channel would keep a program from ending.
    (channel as { unref?: () => void }).unref?.();
    return channel;
  }
}
