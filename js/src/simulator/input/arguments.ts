/** No argument that the component reads lies deeper than two levels, and a page can nest deeper than a stack is. */
const deepestLevel = 64;

/** UTF-8 has no form for a lone surrogate. It arrives as U+FFFD, as on the phone. */
const wellFormed = (text: string): string => text.replace(/[\uD800-\uDFFF]/gu, '\uFFFD');

function copyOf(value: unknown, ancestors: readonly unknown[]): unknown {
  if (typeof value === 'string') return wellFormed(value);
  if (typeof value === 'number' || typeof value === 'boolean') return value;
  if (typeof value !== 'object' || value === null || value instanceof Date) return null;
  if (ancestors.includes(value))
    throw new TypeError('A call of the plugin takes an object that does not contain itself.');
  const inside = [...ancestors, value];
  const isTooDeep = inside.length > deepestLevel;
  if (Array.isArray(value)) return isTooDeep ? [] : Array.from(value, (element) => copyOf(element, inside));
  const members = isTooDeep ? [] : Object.entries(value);
  return Object.fromEntries(members.map(([key, member]) => [wellFormed(key), copyOf(member, inside)]));
}

/** Returns words for what `options` are if a call cannot take them. */
function unfit(options: unknown): string | null {
  if (Array.isArray(options)) return 'an array';
  if (options instanceof Date) return 'a Date';
  return typeof options === 'object' ? null : `a ${typeof options}`;
}

/**
 * Returns a call's options as they arrive at the plugin: a copy in which null replaces whatever JSON cannot express.
 * Throws a TypeError unless `options` is an object, no Date, that does not contain itself.
 */
export function receivedOptions(options: unknown): object {
  if (options === undefined || options === null) return {};
  const what = unfit(options);
  if (what !== null) throw new TypeError(`A call of the plugin takes an object, and this is ${what}.`);
  return copyOf(options, []) as object;
}
