import type { Context } from './context.js';

/** One thing that a page can observe of the plugin. */
export interface Check {
  /** The method and what it does, as a sentence. No two checks share a name. */
  name: string;
  /** Throws an error that says what was expected and what came instead. */
  run: (context: Context) => Promise<void>;
}
