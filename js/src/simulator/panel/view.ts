import type { Simulator } from '../definitions.js';

/** What the panel shows of a phone and asks of it. */
export type Phone = Pick<
  Simulator,
  | 'addEventListener'
  | 'console'
  | 'failure'
  | 'items'
  | 'log'
  | 'name'
  | 'prompt'
  | 'prompts'
  | 'removeEventListener'
  | 'reset'
  | 'restart'
  | 'set'
  | 'state'
  | 'storage'
>;

/** Something that is shown. */
export interface View {
  readonly node: HTMLElement;
  /** Shows what the phone says now. */
  update(): void;
}

/** Reports what went wrong to the person at the panel. */
export type Report = (error: unknown) => void;

/**
 * Returns a function that reads a value and shows it. Called while a reading is under way, it reads once more
 * afterwards, so that a burst of events costs two readings and the last value shown is the newest.
 */
export function refresher<Value>(read: () => Promise<Value>, show: (value: Value) => void, report: Report): () => void {
  let isReading = false;
  let isStale = false;
  return async () => {
    isStale = true;
    if (isReading) return;
    isReading = true;
    while (isStale) {
      isStale = false;
      try {
        show(await read());
      } catch (error) {
        report(error);
      }
    }
    isReading = false;
  };
}

/** Returns what a person is told of an error. */
export function messageOf(error: unknown): string {
  return error instanceof Error ? error.message : String(error);
}
