import type {
  Person,
  PhoneState,
  PlatformOperation,
  PromptAnswer,
  PromptPolicy,
  SimulatorOptions,
} from '../definitions.js';
import { changedState, newState } from '../keychain/state.js';

import type { Rule } from './rules.js';
import { boolean, checked, checkedValue, object, oneOf, string } from './rules.js';

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
