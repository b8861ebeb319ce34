import { mountPanel } from '../../src/simulator/panel/index.js';

import { ScriptedPhone } from './phone.js';

declare global {
  interface Window {
    phone: ScriptedPhone;
    takeAway(): void;
    mount(): void;
    /** Puts the panel of a new phone in the place of the one that is there. */
    renew(): void;
  }
}

window.mount = () => {
  window.takeAway = mountPanel(window.phone);
};
window.renew = () => {
  window.takeAway();
  window.phone = new ScriptedPhone();
  window.mount();
};
window.phone = new ScriptedPhone();
window.mount();
