/** How a call of the plugin settled, as far as a page can tell. */
export type Outcome = { resolved: unknown } | { rejected: Rejection };

export interface Rejection {
  message: string;
  /** Null where the rejection carries none. */
  code: string | null;
  /** Null where the rejection carries none. */
  data: unknown;
}

/** Makes one call of the plugin. */
export type Call = (method: string, options?: object) => Promise<Outcome>;

export const resolved = (result: object): Outcome => ({ resolved: result });

export const rejected = (message: string, code: string | null = null): Outcome => ({
  rejected: { message, code, data: null },
});

/** Calls methods of `plugin` by name. */
export function callerOf(plugin: object): Call {
  const methods = plugin as Record<string, (options?: object) => Promise<unknown>>;
  return (method, options) =>
    methods[method](options).then(
      (result) => ({ resolved: result }),
      ({ message, code, data }) => ({ rejected: { message, code: code ?? null, data: data ?? null } }),
    );
}

/** A value as a report shows it: members in the order of their names, long strings cut. */
export function show(value: unknown): string {
  const text = JSON.stringify(sorted(value)) ?? String(value);
  return text.length > 400 ? `${text.slice(0, 400)}…` : text;
}

function sorted(value: unknown): unknown {
  if (typeof value !== 'object' || value === null) return value;
  if (Array.isArray(value)) return value.map(sorted);
  const members = Object.entries(value).sort(([left], [right]) => (left < right ? -1 : 1));
  return Object.fromEntries(members.map(([name, member]) => [name, sorted(member)]));
}

/** Throws an error that names `what` unless both values are the same, in whatever order their members stand. */
export function same(actual: unknown, expected: unknown, what = 'The call'): void {
  if (JSON.stringify(sorted(actual)) !== JSON.stringify(sorted(expected))) {
    throw new Error(`${what}: expected ${show(expected)}, got ${show(actual)}.`);
  }
}

/** Throws an error with `sentence` unless `condition` holds. */
export function holds(condition: boolean, sentence: string): void {
  if (!condition) throw new Error(sentence);
}

/** The result of a call that resolved. Throws where it did not. */
export function resultOf<Result = Record<string, unknown>>(outcome: Outcome): Result {
  if ('rejected' in outcome) throw new Error(`The call was rejected: ${show(outcome.rejected)}.`);
  return outcome.resolved as Result;
}
