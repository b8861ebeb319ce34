import type { PhoneState, Simulator, SimulatorEvent } from '../definitions.js';

import { html } from './dom.js';
import { Drawer } from './drawer.js';
import { showOnPage } from './host.js';
import { createNotice } from './notice.js';
import { Sheet } from './sheet.js';
import { refresher } from './view.js';

/**
 * Shows the panel of `phone` beside the app and returns a function that takes it away for good. It is one element,
 * "kavrel-simulator", with an open shadow root: a badge on the edge of the page, which opens the phone's switches, its
 * keychain, its calls and its console; the biometric sheet while a prompt is up; and, once the process has stopped, the
 * precondition that stopped it.
 *
 * Needs `HTMLDialogElement.prototype.showModal` and constructible style sheets. Loading this module does nothing and
 * fails nowhere.
 */
export function mountPanel(phone: Simulator): () => void {
  const { node: notice, tell } = createNotice();
  const report = (error: unknown) => tell(error instanceof Error ? error.message : String(error), true);
  const drawer = new Drawer(phone, tell, report);
  const sheet = new Sheet(phone, tell, report);

  let wasLockedOut = true; // the state that the panel finds is no news
  const showState = (state: PhoneState) => {
    drawer.showState(state);
    sheet.showSensor(state);
    if (state.lockedOut && !wasLockedOut) tell('The sensor is locked out', true);
    wasLockedOut = state.lockedOut;
  };
  const readState = refresher(() => phone.state(), showState, report);
  const showPrompt = () => sheet.show(phone.prompt);
  const showProcess = () => {
    readState();
    drawer.showFailure();
  };

  const listeners: Record<SimulatorEvent, () => void> = {
    prompt: showPrompt,
    prompts: readState,
    state: readState,
    items: () => drawer.update('items'),
    log: () => drawer.update('log'),
    console: () => drawer.update('console'),
    stopped: showProcess,
    started: showProcess,
  };
  for (const [event, listener] of Object.entries(listeners)) {
    phone.addEventListener(event as SimulatorEvent, listener);
  }

  const root = html(
    'aside',
    { class: 'simulator', popover: 'manual', lang: 'en', 'aria-label': 'Simulated phone' },
    drawer.badge,
    drawer.node,
    notice,
    sheet.node,
  );
  const takeAway = showOnPage(root, () => sheet.restore());
  showProcess();
  showPrompt();
  return () => {
    for (const [event, listener] of Object.entries(listeners)) {
      phone.removeEventListener(event as SimulatorEvent, listener);
    }
    sheet.close();
    takeAway();
  };
}
