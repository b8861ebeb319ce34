import type { PhoneState } from '../definitions.js';

/** The state of the phone, with what its sensor remembers. */
export interface State extends PhoneState {
  /** The number of biometric prompts in a row without a match. The fifth locks the sensor out. */
  failedPrompts: number;
}

export const newState: Readonly<State> = {
  biometry: 'faceID',
  enrolled: true,
  lockedOut: false,
  locked: false,
  firstUnlock: true,
  failedPrompts: 0,
};

/**
 * Returns the state with `change` applied. Naming one of `locked` and `firstUnlock` may decide the other as well. Throws a
 * RangeError for an unlocked phone before its first unlock.
 */
export function changedState(state: State, change: Partial<PhoneState>): State {
  const implied: Partial<PhoneState> = {
    ...(change.locked === false && { firstUnlock: true }),
    ...(change.firstUnlock === false && { locked: true }),
  };
  const made = { ...state, ...implied, ...change };
  if (!made.locked && !made.firstUnlock) {
    throw new RangeError('A phone that was never unlocked is locked: locked false does not go with firstUnlock false.');
  }
  // Otherwise the next failure would lock the sensor out again.
  return change.lockedOut === false ? { ...made, failedPrompts: 0 } : made;
}
