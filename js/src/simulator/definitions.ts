/**
 * What `startSimulator` can be told. Every member may be left out.
 */
export interface SimulatorOptions {
  /**
   * Where the keychain and the phone's state are kept. IndexedDB outlives the page; memory does not. The default is
   * IndexedDB where the panel can be shown, and memory elsewhere. If the browser refuses IndexedDB, memory is used with
   * a warning on the console, unless `'indexeddb'` was asked for: then the simulator does not start.
   */
  storage?: 'indexeddb' | 'memory';

  /**
   * Which phone. Pages of one origin that give one name share its keychain and its state in IndexedDB.
   *
   * @default 'default'
   */
  name?: string;

  /**
   * Who answers the biometric prompts. The default is `'ask'` where a panel can be shown (a browser with modal
   * dialogs), and `'cancel'` elsewhere: Node.js, jsdom, a worker.
   */
  prompts?: PromptPolicy;

  /**
   * Whether the panel is shown. The default is to show it where it can be shown.
   */
  panel?: boolean;
}

/**
 * How a biometric prompt is answered: by whoever calls a method of `Simulator.prompt` (`'ask'`), or by itself.
 */
export type PromptPolicy = 'ask' | 'match' | 'no-match' | 'cancel';

/**
 * The state of the simulated phone, with the names and values of the command line's `kavrel device`. A new phone has
 * Face ID, a face enrolled, and is unlocked.
 */
export interface PhoneState {
  /**
   * The kind of sensor.
   */
  biometry: 'none' | 'touchID' | 'faceID' | 'opticID';

  /**
   * Whether a face or a finger is enrolled.
   */
  enrolled: boolean;

  /**
   * Whether the sensor is locked out. Five prompts in a row without a match lock it out; setting this to false lets
   * it start counting again.
   */
  lockedOut: boolean;

  /**
   * Whether the phone is locked. Items that need an unlocked phone are out of reach then. Unlocking a phone that was
   * never unlocked is its first unlock.
   */
  locked: boolean;

  /**
   * Whether the phone was unlocked at least once since it was started. No item can be reached before that. Setting
   * this to false locks the phone, which a phone is when it has just been started.
   */
  firstUnlock: boolean;
}

/**
 * When an item of the keychain can be reached. On a phone, a "this device only" item never moves to another one. Here,
 * without backups, it behaves like its namesake.
 */
export type Accessibility =
  'whenUnlocked' | 'whenUnlockedThisDeviceOnly' | 'afterFirstUnlock' | 'afterFirstUnlockThisDeviceOnly';

/**
 * One half of a key pair in the keychain.
 */
export interface KeyItem {
  readonly class: 'privateKey' | 'publicKey';

  /**
   * The application tag, which ends with the person's national code.
   */
  readonly tag: string;

  readonly accessibility: Accessibility;
  readonly createdAt: Date;
}

/**
 * A generic password in the keychain. The plugin keeps the certificate in one.
 */
export interface PasswordItem {
  readonly class: 'genericPassword';
  readonly account: string;
  readonly accessibility: Accessibility;
  readonly createdAt: Date;
}

/**
 * What is known of an item of the keychain. The secret itself is never shown.
 */
export type Item = KeyItem | PasswordItem;

/**
 * The biometric prompt that is up. The first answer counts; later ones are ignored.
 */
export interface Prompt {
  /**
   * What the app says it wants to do: "Authenticate to sign".
   */
  readonly reason: string;

  /**
   * The person is recognised.
   */
  match(): void;

  /**
   * Somebody else holds the phone. The prompt fails, and the sensor counts.
   */
  noMatch(): void;

  /**
   * The person closes the prompt.
   */
  cancel(): void;
}

/**
 * How a call has ended:
 *
 * - `'pending'`: it has not ended yet.
 * - `'resolved'`, `'rejected'`: as `LogEntry.result` or `LogEntry.error` tells.
 * - `'unfinished'`: nothing will ever end it. The method has no handler, or the process stopped while it was pending.
 */
export type Outcome = 'pending' | 'resolved' | 'rejected' | 'unfinished';

/**
 * One call of a plugin method. An entry is a snapshot: when its call ends, another takes its place in the log, under
 * the same `id`.
 */
export interface LogEntry {
  /**
   * Numbers the calls from 1 in the order in which they were made.
   */
  readonly id: number;

  readonly method: string;
  readonly options: object;
  readonly calledAt: Date;
  readonly outcome: Outcome;

  /**
   * The time from the call to its end in milliseconds. Absent unless the call was settled.
   */
  readonly duration?: number;

  /**
   * What the call resolved with. Absent unless it resolved.
   */
  readonly result?: object;

  /**
   * What the call rejected with. Absent unless it rejected.
   */
  readonly error?: { readonly message: string; readonly code?: string };
}

/**
 * What can be listened to. The event carries nothing: read the member that changed.
 *
 * - `'prompt'`: a prompt came up, or the one that was up is gone (`prompt`).
 * - `'prompts'`: who answers the prompts was changed (`prompts`).
 * - `'state'`: the phone's state changed, here or in another page (`state()`).
 * - `'items'`: the keychain's items changed, here or in another page (`items()`).
 * - `'log'`: a call was made or ended (`log`).
 * - `'console'`: the component wrote a line (`console`).
 * - `'stopped'`: the process stopped; a failed precondition stopped it if `failure` names one, otherwise `stop()`.
 * - `'started'`: `restart()` has started the app again.
 */
export type SimulatorEvent = 'prompt' | 'prompts' | 'state' | 'items' | 'log' | 'console' | 'stopped' | 'started';

/**
 * A simulated phone with the app on it: the component that ships, as WebAssembly, over a keychain whose keys are made
 * and used by WebCrypto. While it runs, the package's plugin object answers.
 *
 * It is for development and tests and protects nobody's real key.
 */
export interface Simulator extends EventTarget {
  /**
   * Which phone this is.
   */
  readonly name: string;

  /**
   * Where its keychain and its state are kept.
   */
  readonly storage: 'indexeddb' | 'memory';

  /**
   * Calls a method of the plugin by its name, as the runtime delivers a call: `options` that are absent or null arrive
   * as an empty object.
   *
   * Rejects as the plugin rejects, with an error that has a `message`, an `errorMessage` and, if the plugin gives one,
   * a `code`. Rejects with a `TypeError` if the plugin registers no such method or `options` is not an object. Never
   * settles for "setStyle", which is registered without a handler, or if the process stops meanwhile.
   */
  call(method: string, options?: object | null): Promise<object>;

  /**
   * Who answers the prompts. Setting it takes effect with the next prompt; one that is up stays up.
   */
  prompts: PromptPolicy;

  /**
   * The prompt that is up and waits for an answer, or null if there is none.
   */
  readonly prompt: Prompt | null;

  /**
   * Reads the phone's state.
   */
  state(): Promise<PhoneState>;

  /**
   * Changes the members of the phone's state that are given, all of them or none. Locking the phone cancels the prompt
   * that is up.
   *
   * Rejects with a `TypeError` for a name or a value that a phone does not have, and with a `RangeError` for an
   * unlocked phone before its first unlock.
   */
  set(change: Partial<PhoneState>): Promise<void>;

  /**
   * Lists the keychain's items in the order in which they were stored.
   */
  items(): Promise<Item[]>;

  /**
   * The latest thousand calls, oldest first.
   */
  readonly log: readonly LogEntry[];

  /**
   * The latest thousand lines that the component wrote, oldest first.
   */
  readonly console: readonly string[];

  /**
   * Names the precondition that failed and so stopped the process, or is null if none did. Calls that were pending
   * then, and calls that are made before `restart()`, never settle, as when an app has crashed.
   */
  readonly failure: string | null;

  /**
   * Empties the keychain and gives the phone the state of a new one. Cancels the prompt that is up. `prompts` and the
   * log stay as they are.
   */
  reset(): Promise<void>;

  /**
   * Starts the app again over the same keychain and state. Calls that were pending never settle.
   */
  restart(): Promise<void>;

  /**
   * Stops the simulator and takes the panel away. The prompt that is up is cancelled, and what is pending settles first.
   * The plugin object rejects as UNAVAILABLE from then on, and another simulator can be started.
   */
  stop(): Promise<void>;

  addEventListener(
    type: SimulatorEvent,
    listener: EventListenerOrEventListenerObject | null,
    options?: AddEventListenerOptions | boolean,
  ): void;

  removeEventListener(
    type: SimulatorEvent,
    listener: EventListenerOrEventListenerObject | null,
    options?: EventListenerOptions | boolean,
  ): void;
}
