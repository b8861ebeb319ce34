import type { Accessibility, PhoneState, PromptPolicy } from '../definitions.js';

export const sensors: Record<PhoneState['biometry'], string> = {
  none: 'None',
  touchID: 'Touch ID',
  faceID: 'Face ID',
  opticID: 'Optic ID',
};

export const policies: Record<PromptPolicy, string> = {
  ask: 'Ask',
  match: 'Match',
  'no-match': 'No match',
  cancel: 'Cancel',
};

export const accessibilities: Record<Accessibility, string> = {
  whenUnlocked: 'when unlocked',
  whenUnlockedThisDeviceOnly: 'when unlocked, this device only',
  afterFirstUnlock: 'after first unlock',
  afterFirstUnlockThisDeviceOnly: 'after first unlock, this device only',
};

/** Whether the app can sign (`ready`), cannot for a reason that the switches lift (`limited`), or does not run. */
export type Condition = 'ready' | 'limited' | 'stopped';

/** Tells in a sentence what becomes of a signature right now, in an app that runs. */
export function summarise(prompts: PromptPolicy, state: PhoneState): [Condition, string] {
  const sensor = sensors[state.biometry];
  if (!state.firstUnlock) return ['limited', 'Not unlocked since it was started. The keychain is out of reach.'];
  if (state.locked) return ['limited', 'Locked. The keys are out of reach.'];
  if (state.biometry === 'none') return ['limited', 'There is no sensor, so nothing can be signed.'];
  if (!state.enrolled) return ['limited', 'Nobody is enrolled, so nothing can be signed.'];
  if (state.lockedOut) return ['limited', `${sensor} is locked out, so nothing can be signed.`];
  const answered: Record<PromptPolicy, string> = {
    ask: `${sensor} is ready. You answer its prompts.`,
    match: `${sensor} recognises everybody.`,
    'no-match': `${sensor} recognises nobody.`,
    cancel: `${sensor} is ready. Every prompt is cancelled.`,
  };
  return ['ready', answered[prompts]];
}
