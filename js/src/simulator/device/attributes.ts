import type { Accessibility } from '../definitions.js';
import { Failure, status } from '../failure.js';

/** A query or a map of attributes. Its keys and its constants are strings with the platform's names. */
export type Dictionary = Record<string, unknown>;

const defaultAccessibility = 'kSecAttrAccessibleWhenUnlocked';

const accessibilities: Record<string, Accessibility> = {
  [defaultAccessibility]: 'whenUnlocked',
  kSecAttrAccessibleWhenUnlockedThisDeviceOnly: 'whenUnlockedThisDeviceOnly',
  kSecAttrAccessibleAfterFirstUnlock: 'afterFirstUnlock',
  kSecAttrAccessibleAfterFirstUnlockThisDeviceOnly: 'afterFirstUnlockThisDeviceOnly',
};

/** Returns the failure for an entry `key` that is wrong. */
export function wrong(key: string, what: string): Failure {
  return new Failure(status.param, `The parameter ${key} ${what}.`);
}

const kinds = {
  string: (value: unknown): value is string => typeof value === 'string',
  number: (value: unknown): value is number => typeof value === 'number',
  boolean: (value: unknown): value is boolean => typeof value === 'boolean',
  bytes: (value: unknown): value is Uint8Array => value instanceof Uint8Array,
  dictionary: (value: unknown): value is Dictionary =>
    typeof value === 'object' && value !== null && !(value instanceof Uint8Array),
};

type Kind = keyof typeof kinds;
type Value<K extends Kind> = (typeof kinds)[K] extends (value: unknown) => value is infer T ? T : never;

/**
 * A map as an operation reads it, entry by entry, each of its proper kind. Whatever does not fit is a failure, so that
 * a change in the component's queries is noticed here and not first on a phone.
 */
export class Attributes {
  private readonly untaken: Set<string>;

  constructor(private readonly map: Dictionary) {
    this.untaken = new Set(Object.keys(map));
  }

  take<K extends Kind>(key: string, kind: K): Value<K> | undefined {
    const value = this.map[key];
    this.untaken.delete(key);
    if (value === undefined) return undefined;
    if (!kinds[kind](value)) throw wrong(key, 'has a value of another type');
    return value as Value<K>;
  }

  require<K extends Kind>(key: string, kind: K): Value<K> {
    const value = this.take(key, kind);
    if (value === undefined) throw wrong(key, 'is missing');
    return value;
  }

  /** Returns the value of `key`, which must be one of the constants, or undefined if there is none. */
  oneOf(key: string, ...constants: string[]): string | undefined {
    const value = this.take(key, 'string');
    if (value !== undefined && !constants.includes(value)) throw wrong(key, 'has an unknown value');
    return value;
  }

  /** Returns a key's tag as a string, since the component makes tags from strings. */
  tag(): string | undefined {
    const bytes = this.take('kSecAttrApplicationTag', 'bytes');
    return bytes && new TextDecoder('utf-8', { ignoreBOM: true }).decode(bytes);
  }

  accessibility(): Accessibility {
    return accessibilities[this.oneOf('kSecAttrAccessible', ...Object.keys(accessibilities)) ?? defaultAccessibility];
  }

  /** Skips an entry of any kind that makes no difference here. */
  ignore(key: string): void {
    this.untaken.delete(key);
  }

  /** Throws if an entry is left over. Call it when every known entry has been taken. */
  finish(): void {
    for (const key of this.untaken) throw wrong(key, 'does not belong here, or is there twice');
  }
}
