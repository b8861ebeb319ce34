import type { PhoneState, Prompt, Simulator } from '../definitions.js';

import { button, html, icon } from './dom.js';
import { icons } from './icons.js';
import type { Tell } from './notice.js';
import type { Report } from './view.js';
import { sensors } from './words.js';

/** Returns the letter on a key: the Latin one where the keyboard writes another script. */
function letterOn({ key, code }: KeyboardEvent): string {
  return (/^[a-z]$/i.test(key) ? key : code.replace(/^Key/, '')).toLowerCase();
}

/**
 * The biometric sheet. It is a modal dialog of its own, because a modal dialog of the app makes all the rest of the
 * page inert. The browser gives the focus back when it closes.
 */
export class Sheet {
  readonly node: HTMLDialogElement;
  private picture: Element = icon(icons.none);
  private readonly sensor = html('h2', { id: 'sensor', class: 'quiet' }, 'Simulated biometrics');
  private readonly reason = html('p', { id: 'reason', class: 'reason' });
  private readonly actions: Record<string, (() => void) | undefined>;
  /** The prompt that is shown. */
  private prompt: Prompt | null = null;
  /** What the phone's prompt was when last heard of: it may still be the one that was just answered. */
  private latest: Prompt | null = null;

  constructor(phone: Simulator, tell: Tell, report: Report) {
    const answer = (act: (prompt: Prompt) => void, words: string, refused = false) => {
      const { prompt } = this;
      if (!prompt) return;
      // The phone's event closes the sheet as well, but perhaps after the app has moved the focus on.
      this.close();
      act(prompt);
      tell(words, refused);
    };
    const cancel = () => answer((prompt) => prompt.cancel(), 'Cancelled');
    this.actions = {
      m: () => answer((prompt) => prompt.match(), 'Recognised'),
      n: () => answer((prompt) => prompt.noMatch(), 'Not recognised', true),
      c: cancel,
      l: () => phone.set({ locked: true }).then(() => tell('Locked: the system cancelled the prompt'), report),
    };
    this.node = html(
      'dialog',
      { class: 'sheet', role: 'alertdialog', lang: 'en', 'aria-labelledby': 'sensor', 'aria-describedby': 'reason' },
      html(
        'div',
        {},
        this.picture,
        this.sensor,
        this.reason,
        this.choice('M', 'Match', { class: 'primary' }),
        this.choice('N', 'No match'),
        this.choice('C', 'Cancel'),
        this.choice('L', 'Lock the phone', { class: 'link' }),
      ),
    );
    this.node.addEventListener('cancel', (event) => {
      event.preventDefault();
      cancel();
    });
    // Some browsers close a dialog without asking, at the second Escape in a row.
    this.node.addEventListener('close', () => this.node.open || cancel());
  }

  /** Names and draws the sensor. */
  showSensor({ biometry }: PhoneState): void {
    this.sensor.textContent = `Simulated ${sensors[biometry]}`;
    const picture = icon(icons[biometry]);
    this.picture.replaceWith(picture);
    this.picture = picture;
  }

  /** Shows `prompt`, or nothing if there is none. */
  show(prompt: Prompt | null): void {
    if (prompt === this.latest) return;
    this.latest = prompt;
    this.close();
    if (prompt) this.open(prompt);
  }

  /** Shows the prompt once more that the browser took away with the panel. */
  restore(): void {
    const { prompt } = this;
    this.close();
    if (prompt) this.open(prompt);
  }

  close(): void {
    this.prompt = null;
    removeEventListener('keydown', this.onKey, true);
    this.node.close();
  }

  private open(prompt: Prompt): void {
    this.prompt = prompt;
    this.reason.textContent = prompt.reason;
    this.node.showModal();
    addEventListener('keydown', this.onKey, true);
  }

  private choice(key: string, label: string, attributes: Record<string, string> = {}): HTMLButtonElement {
    const hint = html('kbd', { 'aria-hidden': 'true' }, key);
    return button({ 'aria-keyshortcuts': key, ...attributes }, () => this.actions[key.toLowerCase()]?.(), label, hint);
  }

  /** Listens where every key passes first, wherever the focus is, and keeps the sheet's keys from the app. */
  private readonly onKey = (event: KeyboardEvent): void => {
    if (event.ctrlKey || event.altKey || event.metaKey) return;
    const action = this.actions[letterOn(event)];
    const isHeld = event.repeat && event.key !== 'Tab'; // since before the sheet came up, perhaps
    if (action || isHeld) {
      event.preventDefault();
      event.stopImmediatePropagation();
    }
    if (!isHeld) action?.();
  };
}
