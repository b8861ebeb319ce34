import type {
  CertificateOptions,
  Person,
  PhoneState,
  PlatformOperation,
  PromptAnswer,
  PromptPolicy,
  SimulatorOptions,
} from './definitions.js';
import { attributeTypes } from './names.js';
import { changedState } from './state.js';
import { newState } from './storage.js';

/** Whether a value fits, and in words which ones do. */
type Rule = readonly [fits: (value: unknown) => boolean, wanted: string];

function oneOf(...values: string[]): Rule {
  const quoted = values.map((value) => `'${value}'`);
  const wanted = [quoted.slice(0, -1).join(', '), ...quoted.slice(-1)].join(' or ');
  return [(value) => values.includes(value as string), wanted];
}

const isObject = (value: unknown): boolean => typeof value === 'object' && value !== null && !Array.isArray(value);

const boolean: Rule = [(value) => typeof value === 'boolean', 'true or false'];
const string: Rule = [(value) => typeof value === 'string', 'a string'];
const object: Rule = [isObject, 'an object'];

const policy = oneOf('ask', 'match', 'no-match', 'cancel');
const answer = oneOf('match', 'no-match', 'cancel', 'interrupt');
const operation = oneOf(
  ...(['generateKey', 'addItem', 'deleteItem', 'findItem', 'readItem', 'exportKey', 'sign', 'verify'] satisfies [
    ...PlatformOperation[],
  ]),
);

const simulatorOptions: Record<keyof SimulatorOptions, Rule> = {
  platform: oneOf('web', 'ios'),
  storage: oneOf('indexeddb', 'memory'),
  name: string,
  prompts: policy,
  panel: boolean,
  state: object,
  people: [Array.isArray, 'an array'],
  keys: oneOf('new', 'reused'),
};

const phoneState: Record<keyof PhoneState, Rule> = {
  biometry: oneOf('none', 'touchID', 'faceID', 'opticID'),
  enrolled: boolean,
  lockedOut: boolean,
  locked: boolean,
  firstUnlock: boolean,
};

const person: Record<keyof Person, Rule> = {
  nationalCode: string,
  privateKey: object,
  certificate: [(value) => value === true || typeof value === 'string', 'true or a string'],
};

const fault: Record<'after', Rule> = {
  after: [(value) => Number.isSafeInteger(value) && (value as number) >= 0, 'a whole number from 0 on'],
};

const certificateOptions: Record<keyof CertificateOptions, Rule> = {
  notAfter: [(value) => value instanceof Date && !Number.isNaN(value.getTime()), 'a valid Date'],
  subject: object,
  forAnotherKey: boolean,
  withChain: boolean,
};

/** Returns words for `value` in a sentence. */
function worded(value: unknown): string {
  if (typeof value === 'string') return `"${value}"`;
  if (Array.isArray(value)) return 'an array';
  return isObject(value) ? 'an object' : String(value);
}

function checkedValue(value: unknown, [fits, wanted]: Rule, where: string): void {
  if (!fits(value)) throw new TypeError(`${where} takes ${wanted}, and this is ${worded(value)}.`);
}

/**
 * Returns the members of `value` that are not undefined. Throws a TypeError, which begins with `where`, unless `value`
 * is an object whose members are all known and have values that fit.
 */
function checked<T>(value: unknown, known: Record<keyof T & string, Rule>, where: string): Partial<T> {
  checkedValue(value, object, where);
  const given = Object.entries(value as object).filter(([, member]) => member !== undefined);
  for (const [name, member] of given) {
    const [fits, wanted] = Object.hasOwn(known, name) ? known[name as keyof typeof known] : [];
    if (!fits) throw new TypeError(`${where} does not know "${name}". It takes ${Object.keys(known).join(', ')}.`);
    if (!fits(member)) throw new TypeError(`${where} takes ${wanted} as ${name}, and this is ${worded(member)}.`);
  }
  return Object.fromEntries(given) as Partial<T>;
}

/** Checks what can be checked of the people without reading their keys and certificates. */
function checkPeople(people: readonly unknown[]): void {
  const codes = new Set<string>();
  let isSlotTaken = false;
  for (const [index, value] of people.entries()) {
    const where = `people[${index}]`;
    const { nationalCode, privateKey, certificate } = checked<Person>(value, person, where);
    if (nationalCode === undefined) throw new TypeError(`${where} takes a string as nationalCode, and has none.`);
    if (codes.has(nationalCode)) throw new TypeError(`${where} is "${nationalCode}", and so is somebody before.`);
    codes.add(nationalCode);
    if (certificate === undefined) continue;
    if (isSlotTaken) throw new TypeError(`${where} has a certificate, and so has somebody before: a phone keeps one.`);
    isSlotTaken = true;
    if (certificate === true && !/^[\0-\x7f]+$/.test(nationalCode)) {
      throw new TypeError(`${where} takes a nationalCode in ASCII for a certificate to be issued.`);
    }
    if (certificate !== true && privateKey === undefined) {
      throw new TypeError(`${where} has a certificate without the privateKey that it is for. It takes both, or true.`);
    }
  }
}

export function checkedOptions(value: unknown): SimulatorOptions {
  const options = checked<SimulatorOptions>(value, simulatorOptions, 'startSimulator');
  if (options.state) {
    options.state = checked<PhoneState>(options.state, phoneState, 'startSimulator, in state,');
    changedState(newState, options.state);
  }
  checkPeople(options.people ?? []);
  return options;
}

export const checkedState = (value: unknown): Partial<PhoneState> => checked<PhoneState>(value, phoneState, 'set');

export function checkedPolicy(value: unknown): PromptPolicy {
  checkedValue(value, policy, 'prompts');
  return value as PromptPolicy;
}

export function checkedAnswer(value: unknown): PromptAnswer {
  checkedValue(value, answer, 'answerNext');
  return value as PromptAnswer;
}

export function checkedOperation(value: unknown): PlatformOperation {
  checkedValue(value, operation, 'failNext');
  return value as PlatformOperation;
}

/** Returns how many operations come before the one that is to fail. */
export const checkedAfter = (options: unknown): number =>
  checked<{ after: number }>(options, fault, 'failNext').after ?? 0;

export function checkedCertificateOptions(value: unknown): CertificateOptions {
  const options = checked<CertificateOptions>(value, certificateOptions, 'issue');
  const types = Object.keys(attributeTypes).join(', ');
  for (const [type, text] of Object.entries(options.subject ?? {})) {
    const isKnown = Object.hasOwn(attributeTypes, type) || /^[0-2](\.(0|[1-9]\d*))+$/.test(type);
    if (!isKnown) throw new TypeError(`issue, in subject, does not know "${type}". It takes ${types} and identifiers.`);
    if (typeof text !== 'string')
      throw new TypeError(`issue, in subject, takes a string as ${type}, and this is ${worded(text)}.`);
  }
  return options;
}
