import type { DigitalSignPlugin } from '../definitions.js';

declare global {
  // So that the types can be read without the library "esnext.disposable".
  interface SymbolConstructor {
    readonly asyncDispose: unique symbol;
  }
}

/**
 * What `startSimulator` can be told. Every member may be left out, and one that is undefined counts as left out.
 */
export interface SimulatorOptions {
  /**
   * What `Capacitor.getPlatform()` says. With `'ios'` it says "ios", `Capacitor.isNativePlatform()` is true, and only
   * this plugin is available: for an app that asks for its platform. The simulator then has to be started before
   * `@capacitor/core` is evaluated, and rejects otherwise.
   *
   * @default 'web'
   */
  platform?: 'web' | 'ios';

  /**
   * Where the keychain and the phone's state are kept. IndexedDB outlives the page; memory does not. The default is
   * IndexedDB where a person can be in front of the phone (a browser with modal dialogs of its own), and memory
   * elsewhere. If the browser refuses IndexedDB, memory is used with a warning on the console, unless `'indexeddb'` was
   * asked for: then the simulator does not start.
   */
  storage?: 'indexeddb' | 'memory';

  /**
   * The name of the phone. Pages of one origin that give one name share its keychain and its state in IndexedDB.
   *
   * @default 'default'
   */
  name?: string;

  /**
   * Who answers the biometric prompts. The default is `'ask'` where a person can be in front of the phone (a browser with
   * modal dialogs of its own), and `'cancel'` elsewhere: Node.js, jsdom, happy-dom, a worker. The first prompt that is
   * cancelled by default is reported on the console.
   */
  prompts?: PromptPolicy;

  /**
   * Whether the panel is shown. The default is to show it where a person can be in front of the phone.
   */
  panel?: boolean;

  /**
   * The state of a phone that is made now, where it differs from that of a new phone. A phone that is found in IndexedDB
   * keeps its own.
   */
  state?: Partial<PhoneState>;

  /**
   * The people who have keys on the phone when `startSimulator` resolves. Somebody who has a key on a phone that is found
   * in IndexedDB keeps it. The log does not show how they were enrolled.
   */
  people?: readonly Person[];

  /**
   * Where key pairs come from. `'new'` generates each pair, which takes WebCrypto some tenths of a second. `'reused'`
   * takes the pairs that earlier phones of this program made, in the same order, so that only the first phone waits for
   * them: for tests. No two pairs of one phone are the same.
   *
   * @default 'new'
   */
  keys?: 'new' | 'reused';
}

/**
 * Somebody who is enrolled on the phone from the start.
 */
export interface Person {
  /**
   * The code that names the person in every call.
   */
  nationalCode: string;

  /**
   * The person's private key: RSA with 2048 bits. Without one, a pair is made as `SimulatorOptions.keys` says.
   */
  privateKey?: PrivateKeyJWK;

  /**
   * The certificate in the slot: a string in PEM, which has to be for `privateKey`, or true for one that a test authority
   * issues. A phone has one slot, so only one person can have a certificate. Somebody for whom one is issued needs a
   * national code in ASCII that is not empty.
   */
  certificate?: true | string;
}

/**
 * An RSA private key as a JSON Web Key (RFC 7517, RFC 7518). Every `JsonWebKey` of that kind is one.
 */
export interface PrivateKeyJWK {
  kty?: string;
  n?: string;
  e?: string;
  d?: string;
  p?: string;
  q?: string;
  dp?: string;
  dq?: string;
  qi?: string;
}

/**
 * How a biometric prompt is answered: by whoever calls a method of `Simulator.prompt` (`'ask'`), or by itself.
 */
export type PromptPolicy = 'ask' | 'match' | 'no-match' | 'cancel';

/**
 * How one prompt is answered: as the methods of `Prompt` do.
 */
export type PromptAnswer = 'match' | 'no-match' | 'cancel' | 'interrupt';

/**
 * An operation of the platform that `Simulator.failNext` can let fail. The plugin's methods use them so:
 *
 * - `'generateKey'`: makes a key pair and stores its halves.
 * - `'addItem'`: stores the certificate.
 * - `'deleteItem'`: deletes keys or the certificate.
 * - `'findItem'`: looks a key up.
 * - `'readItem'`: reads the certificate.
 * - `'exportKey'`: exports a public key.
 * - `'sign'`: signs with a private key.
 * - `'verify'`: verifies a signature with a public key.
 */
export type PlatformOperation =
  'generateKey' | 'addItem' | 'deleteItem' | 'findItem' | 'readItem' | 'exportKey' | 'sign' | 'verify';

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
 * The biometric prompt that is up. The first answer counts; later ones are ignored. A second prompt ends the one that is
 * up, as if it had been interrupted.
 */
export interface Prompt {
  /**
   * What the app says it wants to do: "Authenticate to sign".
   */
  readonly reason: string;

  /**
   * The person is recognised, unless the sensor could not be asked any more: it was locked out or removed, or nobody
   * is enrolled.
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

  /**
   * The system closes the prompt, as it does for an incoming call. The sensor does not count that.
   */
  interrupt(): void;
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
 * One call of a plugin method. An entry is frozen: when its call ends, another takes its place in the log, under the same
 * `id`.
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
 * What can be listened to with `addEventListener`. The event carries nothing: read the member that changed.
 *
 * - `'prompt'`: a prompt came up, or the one that was up is gone (`prompt`).
 * - `'prompts'`: who answers the prompts was changed (`prompts`).
 * - `'state'`: the phone's state changed, here or in another page (`state()`).
 * - `'items'`: the keychain's items changed, here or in another page (`items()`).
 * - `'log'`: a call was made or ended (`log`).
 * - `'console'`: the component wrote a line (`console`).
 * - `'stopped'`: the process stopped. `failure` says what stopped it, and is null if `stop()` did.
 * - `'started'`: `restart()` has started the app again.
 */
export type SimulatorEvent = 'prompt' | 'prompts' | 'state' | 'items' | 'log' | 'console' | 'stopped' | 'started';

/**
 * A simulated phone with the app on it: the component that ships, as WebAssembly, on a keychain whose keys are
 * WebCrypto's. While it runs, the package's plugin object answers.
 *
 * It is for development and tests and protects nobody's real key.
 */
export interface Simulator {
  /**
   * The name of this phone.
   */
  readonly name: string;

  /**
   * Where its keychain and its state are kept.
   */
  readonly storage: 'indexeddb' | 'memory';

  /**
   * Calls a method of the plugin by its name, as the runtime delivers a call: `options` that are absent or null arrive
   * as an empty object. The plugin object's calls come through here too, so `vi.spyOn(phone, 'call')` sees them all.
   *
   * Rejects as the plugin rejects, with an error that has a `message`, an `errorMessage` and, if the plugin gives one,
   * a `code`. Rejects with a `TypeError` if the plugin registers no such method or `options` is not an object. Never
   * settles for "setStyle", which is registered without a handler, or if the process stops meanwhile.
   */
  call<Method extends keyof DigitalSignPlugin>(
    method: Method,
    ...options: Parameters<DigitalSignPlugin[Method]>
  ): ReturnType<DigitalSignPlugin[Method]>;

  /**
   * Who answers the prompts. Setting it takes effect with the next prompt; one that is up stays up.
   */
  prompts: PromptPolicy;

  /**
   * The prompt that is up and waits for an answer, or null if there is none.
   */
  readonly prompt: Prompt | null;

  /**
   * Resolves with the prompt that is up, or with the next one that comes up. While this is waited for, the next prompt
   * comes up and waits for an answer whatever `prompts` says, unless `answerNext` has an answer for it.
   *
   * Rejects as UNAVAILABLE if the simulator stops first.
   */
  nextPrompt(): Promise<Prompt>;

  /**
   * Answers the next prompts, one each, in this order and after the answers that were given before. Then `prompts`
   * decides again. A prompt that is up stays up, and `reset()` forgets the answers.
   *
   * Throws a `TypeError` for an unknown answer.
   */
  answerNext(...answers: PromptAnswer[]): void;

  /**
   * Lets the next `operation` of the platform fail, or, with `after`, the one that follows so many of them. Calling it
   * twice lets two fail. `reset()` forgets what has not failed yet. The page of the simulator has a table of what a
   * fault does to each of the plugin's methods.
   *
   * Throws a `TypeError` for an unknown operation or an `after` that is not a whole number from 0 on.
   */
  failNext(operation: PlatformOperation, options?: { after?: number }): void;

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
   * The latest calls, oldest first: a copy. A thousand are kept, or fewer if they are long, but always the last one.
   */
  readonly log: readonly LogEntry[];

  /**
   * The latest lines that the component wrote, oldest first: a copy. A thousand are kept, or fewer if they are long.
   */
  readonly console: readonly string[];

  /**
   * Says what stopped the process: the precondition that failed, or why `restart()` could not start the app again. It is
   * null while the process runs. Calls that were pending then, and calls that are made before `restart()`, never settle,
   * as when an app has crashed.
   */
  readonly failure: string | null;

  /**
   * Empties the keychain and gives the phone the state of a new one, also where `startSimulator` was given `state` or
   * `people`. Cancels the prompt that is up, and forgets what `answerNext` and `failNext` were told. `prompts` and the log
   * stay as they are.
   */
  reset(): Promise<void>;

  /**
   * Starts the app again over the same keychain and state. Calls that were pending never settle. If the app cannot be
   * started, rejects and leaves the reason in `failure`.
   */
  restart(): Promise<void>;

  /**
   * Stops the simulator and takes the panel away. The prompt that is up is cancelled, and what is pending settles first,
   * or is given up if it does not settle. The plugin object rejects as UNAVAILABLE from then on, and another simulator can
   * be started. A phone in IndexedDB that was started several times stops when each start has been stopped.
   */
  stop(): Promise<void>;

  /**
   * The same as `stop()`, for `await using`.
   */
  [Symbol.asyncDispose](): Promise<void>;

  addEventListener(
    type: SimulatorEvent,
    listener: SimulatorListener,
    options?: boolean | SimulatorListenerOptions,
  ): void;

  removeEventListener(
    type: SimulatorEvent,
    listener: SimulatorListener,
    options?: boolean | { capture?: boolean },
  ): void;
}

/**
 * Hears of an event of the simulator.
 */
export type SimulatorListener = (event: { readonly type: string }) => void;

/**
 * What `addEventListener` takes of the options that every event target has.
 */
export interface SimulatorListenerOptions {
  once?: boolean;
  capture?: boolean;
}

/**
 * What `TestAuthority.issue` can be told. Every member may be left out.
 */
export interface CertificateOptions {
  /**
   * Until when the certificate is valid. In the past, it has expired. The default is a year from now.
   */
  notAfter?: Date;

  /**
   * The subject, in place of the request's: its attributes in order, under their short names (`CN`, `SN`, `GN`,
   * `serialNumber`, `C`, `ST`, `L`, `O`, `OU`, `postalCode`) or their object identifiers.
   */
  subject?: Readonly<Record<string, string>>;

  /**
   * Issues the certificate for a key other than the request's, one that nobody has.
   *
   * @default false
   */
  forAnotherKey?: boolean;

  /**
   * Adds the authority's own certificate behind the one that is issued.
   *
   * @default false
   */
  withChain?: boolean;
}
