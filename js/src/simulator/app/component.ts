import load from 'virtual:component';
import compressed from 'virtual:component/wasm';

import type { Device } from '../device/device.js';
import type { PlatformError } from '../failure.js';

/** A call as the component takes it. */
export interface PluginCall {
  readonly options: object;
  resolve(result: object): void;
  reject(message: string, code?: string): void;
}

/**
 * The component, compiled to WebAssembly. A function of it that has to wait for the device returns a promise, and
 * nothing else may enter the component until that is settled.
 */
export interface Component {
  /** Returns the names of the registered methods in the order of the plugin's table. */
  methods(): string[];

  /** Hands `call` to the method of that name. Returns false, and leaves the call alone, if there is none. */
  perform(method: string, call: PluginCall): boolean | Promise<boolean>;

  /** Runs a task that was posted to the main queue. */
  run(task: number): void | Promise<void>;

  /** Replies to an evaluation. `error` is null if the person was recognised. */
  replyTo(pending: number, error: PlatformError | null): void | Promise<void>;
}

/** Decodes base64: in a loop, which takes 20 ms of the start, where the browser does not yet do it itself. */
function decoded(base64: string): Uint8Array<ArrayBuffer> {
  const { fromBase64 } = Uint8Array as { fromBase64?: (base64: string) => Uint8Array<ArrayBuffer> };
  if (fromBase64) return fromBase64(base64);
  const binary = atob(base64);
  const bytes = new Uint8Array(binary.length);
  for (let i = 0; i < bytes.length; ++i) bytes[i] = binary.charCodeAt(i); // Uint8Array.from() takes many times as long
  return bytes;
}

async function inflated(base64: string): Promise<ArrayBuffer> {
  // Not by way of a Blob, since those of jsdom have no stream.
  const { body } = new Response(decoded(base64));
  return new Response(body!.pipeThrough(new DecompressionStream('gzip'))).arrayBuffer();
}

/** The words with which browsers refuse WebAssembly because of the page's content security policy. */
const policyWords = /content security policy|\bCSP\b|unsafe-eval/i;

function explained({ message }: Error): Error {
  const advice = policyWords.test(message)
    ? " The page has a content security policy, whose script-src has to contain 'wasm-unsafe-eval'."
    : '';
  return new Error(`The simulator's WebAssembly cannot be compiled here: ${message}.${advice}`);
}

let compiled: Promise<WebAssembly.Module> | undefined;

/** Compiles the component the first time that this works, and returns the same module from then on. */
function compile(): Promise<WebAssembly.Module> {
  compiled ??= inflated(compressed)
    .then(WebAssembly.compile)
    .catch((error) => {
      compiled = undefined;
      throw explained(error);
    });
  return compiled;
}

/** Begins to compile the component. Returns at once; if it fails, `loadComponent` rejects with the reason. */
export function prepareComponent(): void {
  compile().catch(() => undefined);
}

const decoder = new TextDecoder('utf-8', { ignoreBOM: true });

/** Returns the string that `bytes` are in UTF-8, every character of it. */
const stringOf = (bytes: Uint8Array): string => decoder.decode(bytes);

/** Makes a new instance over `device`. What it writes to standard error goes to `printErr`, line by line. */
export async function loadComponent(device: Device, printErr: (line: string) => void): Promise<Component> {
  const module = await compile();
  return new Promise((resolve, reject) => {
    const instantiateWasm = (imports: WebAssembly.Imports, done: (instance: WebAssembly.Instance) => void) => {
      WebAssembly.instantiate(module, imports).then(done, reject);
      return {};
    };
    load({ device, stringOf, printErr, instantiateWasm }).then(resolve, reject);
  });
}
