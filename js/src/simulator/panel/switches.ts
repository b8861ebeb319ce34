import type { PhoneState } from '../definitions.js';

import { html } from './dom.js';
import type { Phone, Report } from './view.js';
import { policies, sensors } from './words.js';

interface Control<Value> {
  readonly node: HTMLElement;
  show(value: Value): void;
}

/** One of several values, each with a label. */
function choice<Value extends string>(
  name: string,
  legend: string,
  labels: Record<Value, string>,
  choose: (value: Value) => void,
): Control<Value> {
  const values = Object.keys(labels) as Value[];
  const inputs = values.map((value) => html('input', { type: 'radio', name, value }));
  const node = html(
    'fieldset',
    {},
    html('legend', {}, legend),
    html('div', { class: 'segments' }, ...inputs.map((input, at) => html('label', {}, input, labels[values[at]]))),
  );
  node.addEventListener('change', (event) => choose((event.target as HTMLInputElement).value as Value));
  return {
    node,
    show(value) {
      for (const input of inputs) input.checked = input.value === value;
    },
  };
}

function toggle(name: string, label: string, hint: string, turn: (on: boolean) => void): Control<boolean> {
  const id = `${name}-hint`;
  const input = html('input', { type: 'checkbox', role: 'switch', name, 'aria-describedby': id, 'aria-label': label });
  input.addEventListener('change', () => turn(input.checked));
  return {
    node: html('label', {}, html('span', {}, html('b', {}, label), html('span', { id, class: 'quiet' }, hint)), input),
    show(on) {
      input.checked = on;
    },
  };
}

/** The switches of the phone. One that the phone refuses goes back. */
export function switches(phone: Phone, report: Report): Control<PhoneState> {
  let shown: PhoneState | undefined;
  const set = (change: Partial<PhoneState>) =>
    phone.set(change).catch((error) => {
      if (shown) show(shown);
      report(error);
    });

  const prompts = choice('prompts', 'Biometric prompts', policies, (policy) => {
    phone.prompts = policy;
  });
  const biometry = choice('biometry', 'Sensor', sensors, (kind) => set({ biometry: kind }));
  const toggles = {
    enrolled: toggle('enrolled', 'Enrolled', 'The sensor knows a face or a finger.', (enrolled) => set({ enrolled })),
    lockedOut: toggle(
      'lockedOut',
      'Locked out',
      'After five prompts without a match, until the passcode is entered.',
      (on) => set({ lockedOut: on }),
    ),
    locked: toggle('locked', 'Locked', 'Items for an unlocked phone are out of reach.', (locked) => set({ locked })),
    firstUnlock: toggle(
      'firstUnlock',
      'Unlocked since start',
      'Before that, the whole keychain is out of reach.',
      (on) => set({ firstUnlock: on }),
    ),
  };

  function show(state: PhoneState): void {
    shown = state;
    prompts.show(phone.prompts);
    biometry.show(state.biometry);
    for (const [name, control] of Object.entries(toggles)) control.show(state[name as keyof typeof toggles]);
  }

  const rows = Object.values(toggles).map(({ node }) => node);
  return {
    node: html('div', { class: 'switches' }, prompts.node, biometry.node, html('div', { class: 'toggles' }, ...rows)),
    show,
  };
}
