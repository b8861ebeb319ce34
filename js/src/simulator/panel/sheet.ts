import type { PhoneState, Prompt } from '../definitions.js';

import { button, html, icon } from './dom.js';
import { icons } from './icons.js';
import type { Tell } from './notice.js';
import type { Phone, Report } from './view.js';
import { sensors } from './words.js';

/** How long a sheet is on the screen, with nobody typing, before a key can be an answer to it, in milliseconds. */
const readingTime = 500;

/**
 * Returns the letter on a key: the Latin one where the keyboard writes another script. An event that no keyboard made,
 * such as a browser's when it fills a form in, may have neither a key nor a code.
 */
function letterOn({ key = '', code = '' }: Partial<KeyboardEvent>): string {
  return (/^[a-z]$/i.test(key) ? key : code.replace(/^Key/, '')).toLowerCase();
}

/** A button acts when Enter goes down and when the space bar comes up. */
const keyEvents = ['keydown', 'keyup'] as const;

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
  /** From when on a key can be an answer to the prompt. */
  private readableAt = Infinity;

  /** While a prompt is up, the sheet is in `root`. */
  constructor(
    private readonly root: HTMLElement,
    phone: Phone,
    tell: Tell,
    report: Report,
  ) {
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
      i: () => answer((prompt) => prompt.interrupt(), 'Interrupted by the system'),
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
        html('div', { class: 'links' }, this.choice('I', 'Interrupt'), this.choice('L', 'Lock the phone')),
      ),
    );
    this.node.addEventListener('cancel', (event) => {
      event.preventDefault();
      cancel();
    });
    // Some browsers close a dialog without asking, at the second Escape in a row.
    this.node.addEventListener('close', () => {
      if (this.node.isConnected && !this.node.open) cancel();
    });
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
    for (const type of keyEvents) removeEventListener(type, this.onKey, true);
    if (this.node.open) this.node.close();
    this.node.remove();
  }

  private open(prompt: Prompt): void {
    this.prompt = prompt;
    this.reason.textContent = prompt.reason;
    this.root.append(this.node);
    if (!this.node.isConnected) return; // until the panel is back on the page
    this.node.showModal();
    this.readableAt = Infinity;
    requestAnimationFrame(() => (this.readableAt = performance.now() + readingTime));
    for (const type of keyEvents) addEventListener(type, this.onKey, true);
  }

  private choice(key: string, label: string, attributes: Record<string, string> = {}): HTMLButtonElement {
    const hint = html('kbd', { 'aria-hidden': 'true' }, key);
    return button({ 'aria-keyshortcuts': key, ...attributes }, () => this.actions[key.toLowerCase()]?.(), label, hint);
  }

  /** Whether the sheet has the focus or can take it: it cannot under a modal dialog of the app. */
  private takesFocus(): boolean {
    if (!this.node.matches(':focus-within')) this.node.querySelector('button')?.focus();
    return this.node.matches(':focus-within');
  }

  /** Listens where every key passes first, wherever the focus is, and keeps the sheet's keys from the app. */
  private readonly onKey = (event: KeyboardEvent): void => {
    const { type, key, ctrlKey, altKey, metaKey, repeat, timeStamp } = event;
    if (key === 'Tab' || !this.takesFocus()) return;
    const isShortcut = type === 'keydown' && !ctrlKey && !altKey && !metaKey;
    const action = isShortcut ? this.actions[letterOn(event)] : undefined;
    const isEarly = repeat || timeStamp < this.readableAt;
    if (isEarly) this.readableAt = Math.max(this.readableAt, timeStamp + readingTime);
    if (action || isEarly) {
      event.preventDefault();
      event.stopImmediatePropagation();
    }
    if (!isEarly) action?.();
  };
}
