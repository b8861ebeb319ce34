import type { PhoneState, PromptPolicy, SimulatorOptions } from './definitions.js';

const isBoolean = (value: unknown): boolean => typeof value === 'boolean';
const isOneOf =
  (...values: string[]) =>
  (value: unknown): boolean =>
    values.includes(value as string);

const isPolicy = isOneOf('ask', 'match', 'no-match', 'cancel');

const simulatorOptions: Record<keyof SimulatorOptions, [(value: unknown) => boolean, string]> = {
  storage: [isOneOf('indexeddb', 'memory'), "'indexeddb' or 'memory'"],
  name: [(value) => typeof value === 'string', 'a string'],
  prompts: [isPolicy, "'ask', 'match', 'no-match' or 'cancel'"],
  panel: [isBoolean, 'true or false'],
};

const phoneState: Record<keyof PhoneState, [(value: unknown) => boolean, string]> = {
  biometry: [isOneOf('none', 'touchID', 'faceID', 'opticID'), "'none', 'touchID', 'faceID' or 'opticID'"],
  enrolled: [isBoolean, 'true or false'],
  lockedOut: [isBoolean, 'true or false'],
  locked: [isBoolean, 'true or false'],
  firstUnlock: [isBoolean, 'true or false'],
};

/** Returns words for `value` in a sentence. */
function worded(value: unknown): string {
  return typeof value === 'string' ? `"${value}"` : Array.isArray(value) ? 'an array' : String(value);
}

/**
 * Returns the members of `value` that are not undefined. Throws a TypeError, which begins with `where`, unless `value`
 * is an object whose members are all known and have values that fit.
 */
function checked<T>(
  value: unknown,
  known: Record<keyof T & string, [(value: unknown) => boolean, string]>,
  where: string,
): Partial<T> {
  if (typeof value !== 'object' || value === null || Array.isArray(value)) {
    throw new TypeError(`${where} takes an object, and this is ${worded(value)}.`);
  }
  const given = Object.entries(value).filter(([, member]) => member !== undefined);
  for (const [name, member] of given) {
    const [fits, wanted] = Object.hasOwn(known, name) ? known[name as keyof typeof known] : [];
    if (!fits) throw new TypeError(`${where} does not know "${name}". It takes ${Object.keys(known).join(', ')}.`);
    if (!fits(member)) throw new TypeError(`${where} takes ${wanted} as ${name}, and this is ${worded(member)}.`);
  }
  return Object.fromEntries(given) as Partial<T>;
}

export const checkedOptions = (value: unknown): SimulatorOptions =>
  checked<SimulatorOptions>(value, simulatorOptions, 'startSimulator');

export const checkedState = (value: unknown): Partial<PhoneState> => checked<PhoneState>(value, phoneState, 'set');

export function checkedPolicy(value: unknown): PromptPolicy {
  if (isPolicy(value)) return value as PromptPolicy;
  throw new TypeError(`prompts takes ${simulatorOptions.prompts[1]}, and this is ${worded(value)}.`);
}
