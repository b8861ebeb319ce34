// The modules that js/simulator.mjs makes from the compiled C++, and the style sheets that it turns into strings.

declare module 'virtual:component' {
  import type { Component } from './app/component.js';

  /** Emscripten's loader. */
  export default function load(options: object): Promise<Component>;
}

declare module 'virtual:component/wasm' {
  /** The WebAssembly, compressed with gzip, in base64. */
  const compressed: string;
  export default compressed;
}

declare module '*.css?inline' {
  const styles: string;
  export default styles;
}
