/** Whether a value fits, and in words which ones do. */
export type Rule = readonly [fits: (value: unknown) => boolean, wanted: string];

export function oneOf(...values: string[]): Rule {
  const quoted = values.map((value) => `'${value}'`);
  const wanted = [quoted.slice(0, -1).join(', '), ...quoted.slice(-1)].join(' or ');
  return [(value) => values.includes(value as string), wanted];
}

const isObject = (value: unknown): boolean => typeof value === 'object' && value !== null && !Array.isArray(value);

export const boolean: Rule = [(value: unknown): boolean => typeof value === 'boolean', 'true or false'];
export const string: Rule = [(value: unknown): boolean => typeof value === 'string', 'a string'];
export const object: Rule = [isObject, 'an object'];

/** Returns words for `value` in a sentence. */
export function worded(value: unknown): string {
  if (typeof value === 'string') return `"${value}"`;
  if (Array.isArray(value)) return 'an array';
  return isObject(value) ? 'an object' : String(value);
}

export function checkedValue(value: unknown, [fits, wanted]: Rule, where: string): void {
  if (!fits(value)) throw new TypeError(`${where} takes ${wanted}, and this is ${worded(value)}.`);
}

/**
 * Returns the members of `value` that are not undefined. Throws a TypeError, which begins with `where`, unless `value`
 * is an object whose members are all known and have values that fit.
 */
export function checked<T>(value: unknown, known: Record<keyof T & string, Rule>, where: string): Partial<T> {
  checkedValue(value, object, where);
  const given = Object.entries(value as object).filter(([, member]) => member !== undefined);
  for (const [name, member] of given) {
    const [fits, wanted] = Object.hasOwn(known, name) ? known[name as keyof typeof known] : [];
    if (!fits) throw new TypeError(`${where} does not know "${name}". It takes ${Object.keys(known).join(', ')}.`);
    if (!fits(member)) throw new TypeError(`${where} takes ${wanted} as ${name}, and this is ${worded(member)}.`);
  }
  return Object.fromEntries(given) as Partial<T>;
}
