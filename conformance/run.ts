import { checks, notRunnable } from './checks/index.js';
import type { Announce, Context, Intercept } from './context.js';
import { NotHere, cleanUp, prepare, promptOnce } from './context.js';
import type { Call } from './outcome.js';
import { prompts } from './prompts.js';

export interface CheckResult {
  name: string;
  outcome: 'passed' | 'failed' | 'not run';
  /** What was expected and what came instead, or why the check did not run. */
  detail?: string;
  milliseconds: number;
}

export interface Report {
  results: CheckResult[];
  /** What a page cannot bring about on any device, and why. */
  notRunnable: string[];
}

/** Where a run stands. */
export interface Progress {
  position: number;
  total: number;
  name: string;
  /** The checks that have ended. */
  results: CheckResult[];
}

export interface RunOptions {
  /** Makes the calls of the plugin. */
  call: Call;
  /** Called before each prompt. */
  announce: Announce;
  /** Called before each check, and at the end with the last result. */
  progress?: (progress: Progress) => void;
  intercept?: Intercept;
}

/**
 * Runs every check, one after the other, with people of its own. It empties the certificate slot and shows as many
 * prompts as there are in `prompts`. Throws where the people's keys cannot be made.
 */
export async function runSelfCheck({ call, announce, progress, intercept }: RunOptions): Promise<Report> {
  const fixtures = await prepare(call);
  const prompted = promptOnce(call, announce);
  const results: CheckResult[] = [];
  for (const [index, check] of checks.entries()) {
    progress?.({ position: index + 1, total: checks.length, name: check.name, results });
    const context: Context = { ...fixtures, call, prompted };
    if (intercept) {
      context.call = (method, options) => intercept(check.name, method, options, call(method, options));
      context.prompted = (name) => intercept(check.name, 'signDigest', prompts[name].options, prompted(name));
    }
    const start = performance.now();
    const ended = await check.run(context).then(
      () => ({ outcome: 'passed' as const }),
      (reason) => ({
        outcome: reason instanceof NotHere ? ('not run' as const) : ('failed' as const),
        detail: reason instanceof Error ? reason.message : String(reason),
      }),
    );
    results.push({ name: check.name, ...ended, milliseconds: Math.round(performance.now() - start) });
  }
  await cleanUp(call);
  progress?.({ position: checks.length, total: checks.length, name: '', results });
  return { results, notRunnable };
}
