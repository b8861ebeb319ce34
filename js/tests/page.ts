import type { DOMWindow } from 'jsdom';
import { JSDOM, VirtualConsole } from 'jsdom';
import { join } from 'node:path';
import { build } from 'vite';

import { read } from './app.js';
import { registeredMethods } from './calls.js';

/** A call, as the script bridge posts it. */
export interface Message {
  callbackId: string;
  pluginId: string;
  methodName: string;
  options: unknown;
  type: string;
}

/** How the native side settles a call. */
export type Answer = { data: object } | { error: { message: string; code?: string } };

/** The exports of an app's bundle of `export * from 'kavrel-crypto'`. */
// eslint-disable-next-line @typescript-eslint/consistent-type-imports
export type Bundle = typeof import('../src/index.js');

/** Bundles `entry`, a file of the app, as the app's own build would. Its exports become the global `App`. */
export async function bundle(app: string, entry: string): Promise<string> {
  const output = await build({
    configFile: false,
    root: app,
    logLevel: 'error',
    build: { write: false, minify: false, lib: { entry, name: 'App', formats: ['iife'] } },
  });
  const [{ output: chunks }] = output as { output: { code: string }[] }[];
  return chunks[0].code;
}

/** The scripts that the runtime runs in the page at document start, in its order. */
async function documentStart(app: string): Promise<string[]> {
  const assets = join(app, 'node_modules/@capacitor/ios/Capacitor/Capacitor/assets');
  const promised = (name: string) => ({ name, rtype: 'promise' });
  const header = {
    name: 'DigitalSign',
    methods: [
      { name: 'addListener' },
      { name: 'removeListener' },
      ...['removeAllListeners', 'checkPermissions', 'requestPermissions', ...registeredMethods].map(promised),
    ],
  };
  return [
    `window.Capacitor = { DEBUG: false, isLoggingEnabled: false, Plugins: {} };
     window.WEBVIEW_SERVER_URL = 'capacitor://localhost';`,
    await read(assets, 'native-bridge.js'),
    `(function (w) {
       var t = (w.Capacitor.Plugins['DigitalSign'] = {});
       ${registeredMethods
         .map(
           (method) => `t['${method}'] = function (_options) {
             return w.Capacitor.nativePromise('DigitalSign', '${method}', _options);
           }`,
         )
         .join('\n')}
     })(window);
     (function (w) {
       var h = (w.Capacitor.PluginHeaders = w.Capacitor.PluginHeaders || []);
       h.push(${JSON.stringify(header)});
     })(window);`,
  ];
}

/** Opens an empty page in a plain browser. */
export function open(): DOMWindow {
  return new JSDOM('<!doctype html>', { runScripts: 'outside-only', virtualConsole: new VirtualConsole() }).window;
}

/** The app's page on a phone: the runtime's own scripts over a stand-in for its native side. */
export class PhonePage {
  /** The messages that the native side received. */
  readonly posted: Message[] = [];

  /** The exports of the app's script. */
  readonly app: Bundle;

  private readonly window = open();

  /** `answer` returns how a call will be settled, or nothing to leave it pending. */
  private constructor(
    injected: string[],
    script: string,
    private readonly answer: (message: Message) => Answer | undefined,
  ) {
    this.window.prompt = () => 'false'; // whether the runtime's cookie and HTTP plugins are on
    const bridge = { postMessage: (message: Message) => this.receive(message) };
    Object.assign(this.window, { webkit: { messageHandlers: { bridge } } });
    for (const text of [...injected, script]) this.window.eval(text);
    this.app = this.window.App;
  }

  static async open(app: string, script: string, answer: PhonePage['answer']): Promise<PhonePage> {
    return new PhonePage(await documentStart(app), script, answer);
  }

  private receive(message: Message): void {
    this.posted.push(JSON.parse(JSON.stringify(message)));
    const answer = this.answer(message);
    if (answer) setTimeout(() => this.settle(message, answer));
  }

  /** Evaluates in the page what the native side evaluates to settle a call. */
  private settle({ callbackId, pluginId, methodName }: Message, answer: Answer): void {
    const result =
      'data' in answer
        ? { save: false, success: true, data: answer.data }
        : { success: false, error: { ...answer.error, errorMessage: answer.error.message } };
    this.window.eval(`window.Capacitor.fromNative(${JSON.stringify({ callbackId, pluginId, methodName, ...result })})`);
  }
}
