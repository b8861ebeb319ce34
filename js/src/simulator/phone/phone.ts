import type { DigitalSignPlugin } from '../../definitions.js';
import { AppProcess } from '../app/process.js';
import type {
  Item,
  LogEntry,
  PhoneState,
  PlatformOperation,
  Prompt,
  PromptAnswer,
  PromptPolicy,
  Simulator,
  SimulatorEvent,
} from '../definitions.js';
import { Faults } from '../device/faults.js';
import { Sensor } from '../device/sensor.js';
import { receivedOptions } from '../input/arguments.js';
import { checkedAnswer, checkedAfter, checkedOperation, checkedPolicy, checkedState } from '../input/options.js';
import { Keychain } from '../keychain/keychain.js';
import { changedState } from '../keychain/state.js';
import type { PhoneStorage } from '../keychain/storage.js';
import type { KeySource } from '../keys/source.js';
import { Queue } from '../queue.js';

import { Log } from './log.js';

/** A message from a phone to the other pages that share it. */
type Message = 'items' | 'state' | 'cancel';

/** Returns the error that a call of the plugin rejects with: the runtime's exception if the runtime is loaded. */
export function rejection(message: string, code?: string): Error {
  const { Capacitor } = globalThis as { Capacitor?: { Exception?: new (message: string) => Error } };
  const error = new (Capacitor?.Exception ?? Error)(message);
  return Object.assign(error, { errorMessage: message }, code === undefined ? {} : { code });
}

const stoppedRejection = (): Error =>
  rejection('The simulator was stopped. Start it again with startSimulator().', 'UNAVAILABLE');

/** For how long a phone that stops waits for what is pending, in milliseconds. */
const longestStop = 10_000;

const asyncDispose: typeof Symbol.asyncDispose = Symbol.asyncDispose ?? Symbol.for('Symbol.asyncDispose');

/** The name of the phone's channel, through which its pages hear of each other's changes. */
const channelName = (phone: string): string => `kavrel-crypto/${phone}`;

/** What a phone is made of. */
export interface Parts {
  name: string;
  storage: PhoneStorage;
  generateKeyPair: KeySource;

  /** Who answers the prompts. Without it every prompt is cancelled, and the first of them is reported. */
  prompts?: PromptPolicy;

  /** Called at every stop. Returns whether it is the last, which stops the phone. */
  release(): boolean;
}

export class SimulatedPhone extends EventTarget implements Simulator {
  readonly name: string;
  failure: string | null = null;

  private readonly kept: PhoneStorage;
  private readonly release: () => boolean;
  private readonly queue = new Queue();
  private readonly record = new Log((what) => this.tell(what));
  private readonly keychain: Keychain;
  private readonly sensor: Sensor;
  private readonly faults = new Faults();
  private readonly generateKeyPair: KeySource;
  private readonly channel: BroadcastChannel | undefined;
  private app: AppProcess;
  private methods: string[] = [];
  private stopped: Promise<void> | undefined;

  constructor({ name, storage, generateKeyPair, prompts, release }: Parts) {
    super();
    this.name = name;
    this.kept = storage;
    this.generateKeyPair = generateKeyPair;
    this.release = release;
    this.keychain = new Keychain(storage, (what) => this.announce(what));
    this.sensor = new Sensor(this.keychain, prompts, () => this.tell('prompt'));
    this.channel = storage.kind === 'indexeddb' ? this.joined() : undefined;
    this.app = this.newProcess();
  }

  /** Starts the process. Call it once, before the first call of the plugin. */
  async start(): Promise<void> {
    this.methods = await this.app.start();
  }

  get storage(): PhoneStorage['kind'] {
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

  async nextPrompt(): Promise<Prompt> {
    this.requireRunning();
    return this.sensor.nextPrompt();
  }

  answerNext(...answers: PromptAnswer[]): void {
    this.sensor.answerNext(answers.map(checkedAnswer));
  }

  failNext(operation: PlatformOperation, options: { after?: number } = {}): void {
    this.faults.arrange(checkedOperation(operation), checkedAfter(options));
  }

  get log(): readonly LogEntry[] {
    return this.record.calls;
  }

  get console(): readonly string[] {
    return this.record.lines;
  }

  call<Method extends keyof DigitalSignPlugin>(
    method: Method,
    ...[options]: Parameters<DigitalSignPlugin[Method]>
  ): ReturnType<DigitalSignPlugin[Method]> {
    return this.deliver(method, options) as ReturnType<DigitalSignPlugin[Method]>;
  }

  async state(): Promise<PhoneState> {
    const { biometry, enrolled, lockedOut, locked, firstUnlock } = await this.inTurn(() => this.keychain.state());
    return { biometry, enrolled, lockedOut, locked, firstUnlock };
  }

  async set(change: Partial<PhoneState>): Promise<void> {
    const wanted = checkedState(change);
    await this.inTurn(async () => {
      await this.keychain.changeState((state) => changedState(state, wanted));
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
      this.sensor.forgetAnswers();
      this.faults.clear();
    });
  }

  async restart(): Promise<void> {
    this.requireRunning();
    this.app.end();
    this.abandonCalls();
    this.failure = null;
    const app = this.newProcess();
    this.app = app;
    try {
      await app.start();
    } catch (error) {
      if (this.app === app) this.fail(`The app cannot be started again: ${(error as Error).message}`);
      throw error;
    }
    this.tell('started');
  }

  stop(): Promise<void> {
    if (!this.stopped && !this.release()) return Promise.resolve();
    this.stopped ??= this.shutDown();
    return this.stopped;
  }

  [asyncDispose](): Promise<void> {
    return this.stop();
  }

  /** Makes a call, whatever is given. */
  private deliver(method: string, options: unknown): Promise<object> {
    return new Promise((resolve, reject) => {
      this.requireRunning();
      const received = receivedOptions(options);
      if (!this.methods.includes(method)) {
        throw new TypeError(`The plugin has no method "${String(method)}". It has ${this.methods.join(', ')}.`);
      }
      const end = this.record.begin(method, received);
      if (this.failure !== null) return end({ outcome: 'unfinished' });
      this.app.enter(async (component) => {
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

  /** Stops for good. Call it in place of `stop` if the start failed. */
  async shutDown(): Promise<void> {
    this.sensor.close(stoppedRejection());
    await this.settled();
    this.app.end();
    this.record.abandon();
    this.channel?.close();
    this.kept.close();
    this.tell('stopped');
  }

  /** Resolves when everything that was asked of the phone has been done, or when that takes too long. */
  private async settled(): Promise<void> {
    let timer: ReturnType<typeof setTimeout> | undefined;
    const tooLong = new Promise<void>((resolve) => {
      timer = setTimeout(resolve, longestStop);
    });
    await Promise.race([this.record.idle().then(() => this.queue.run(() => undefined)), tooLong]);
    clearTimeout(timer);
  }

  private newProcess(): AppProcess {
    const { keychain, sensor, generateKeyPair, faults } = this;
    return new AppProcess({ keychain, sensor, generateKeyPair, faults }, this.queue, {
      printed: (line) => this.record.print(line),
      crashed: (reason) => this.crash(reason),
    });
  }

  private crash(reason: string): void {
    console.error(
      `kavrel-crypto simulator: the app's process stopped, because this did not hold: ${reason}. ` +
        'Its calls never settle, as on the phone. Start the app again with restart().',
    );
    this.fail(reason);
  }

  /** Leaves the phone without a process, for the reason given. */
  private fail(reason: string): void {
    this.failure = reason;
    this.abandonCalls();
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
    if (this.stopped) throw stoppedRejection();
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
