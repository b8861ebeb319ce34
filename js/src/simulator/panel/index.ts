import type { PhoneState, SimulatorEvent } from '../definitions.js';

import { html } from './dom.js';
import { Drawer } from './drawer.js';
import type { Content } from './host.js';
import { keepOnPage } from './host.js';
import { createNotice } from './notice.js';
import { Sheet } from './sheet.js';
import type { Phone } from './view.js';
import { messageOf, refresher } from './view.js';

/** Builds the panel, which follows the phone until it is discarded. */
function createPanel(phone: Phone): Content {
  const root = html('aside', { class: 'simulator', popover: 'manual', lang: 'en', 'aria-label': 'Simulator' });
  const notice = createNotice(root);
  const { tell } = notice;
  const report = (error: unknown) => tell(messageOf(error), true);
  const drawer = new Drawer(phone, tell, report);
  const sheet = new Sheet(root, phone, tell, report);
  root.append(drawer.badge);

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
  return {
    root,
    shown() {
      sheet.restore();
      showPrompt();
      showProcess();
    },
    discard() {
      for (const [event, listener] of Object.entries(listeners)) {
        phone.removeEventListener(event as SimulatorEvent, listener);
      }
      sheet.close();
      notice.close();
    },
  };
}

/**
 * Shows the panel of `phone` beside the app and returns a function that takes it away for good. It is one element,
 * "kavrel-simulator", with an open shadow root. There is a badge on the edge of the page, which opens the phone's
 * switches, its keychain, its calls and its console; the biometric sheet while a prompt is up; and, once the process has
 * stopped, what stopped it. Only what is shown is in the document, so that tests of the app find none of the rest.
 *
 * Needs `HTMLDialogElement.prototype.showModal` to show a prompt. Loading this module does nothing and fails nowhere.
 */
export function mountPanel(phone: Phone): () => void {
  return keepOnPage(() => createPanel(phone));
}
