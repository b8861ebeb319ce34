import type { PhoneState, Simulator } from '../definitions.js';

import { controls, failureCard } from './controls.js';
import { button, html, icon } from './dom.js';
import { icons } from './icons.js';
import { itemsView } from './items.js';
import { callsView, consoleView } from './log.js';
import type { Tell } from './notice.js';
import { switches } from './switches.js';
import { Tabs } from './tabs.js';
import type { Report, View } from './view.js';
import { summarise } from './words.js';

const storages: Record<Simulator['storage'], string> = { indexeddb: 'kept in IndexedDB', memory: 'kept in memory' };

/** What the phone announces with an event of the same name. */
type Content = 'items' | 'log' | 'console';

/** The badge, and what it opens. One of the two is always on the page. */
export class Drawer {
  readonly badge: HTMLButtonElement;
  readonly node: HTMLElement;
  private readonly summary = html('p', { class: 'summary' });
  private readonly tabs = new Tabs();
  private readonly switches;
  private readonly failure: View;
  private readonly updates: Record<Content, () => void>;
  /** What has changed since it was last shown. */
  private readonly stale = new Set<Content>(['items', 'log', 'console']);
  private isScheduled = false;

  constructor(
    private readonly phone: Simulator,
    tell: Tell,
    report: Report,
  ) {
    const restart = () => void phone.restart().then(() => tell('The app was started again'), report);
    this.switches = switches(phone, report);
    this.failure = failureCard(phone, restart);
    const items = itemsView(phone, (count) => countItems(count), report);
    const calls = callsView(phone);
    const lines = consoleView(phone);
    this.tabs.add('phone', 'Phone', this.switches.node);
    const countItems = this.tabs.add('keychain', 'Keychain', items.node);
    const countCalls = this.tabs.add('calls', 'Calls', calls.node);
    const countLines = this.tabs.add('console', 'Console', lines.node);
    this.updates = {
      items: () => items.update(),
      log() {
        calls.update();
        countCalls(phone.log.length);
      },
      console() {
        lines.update();
        countLines(phone.console.length);
      },
    };

    const dot = html('span', { class: 'dot' });
    this.badge = button(
      { class: 'badge', 'aria-haspopup': 'dialog' },
      () => this.open(),
      dot,
      html('b', {}, 'Simulated phone'),
    );
    this.node = html(
      'div',
      { class: 'drawer', role: 'dialog', 'aria-labelledby': 'title', hidden: true },
      this.header(),
      this.summary,
      this.failure.node,
      this.tabs.list,
      ...this.tabs.panels,
      controls(phone, restart, tell, report),
    );
    this.node.addEventListener('keydown', (event) => {
      if (event.key !== 'Escape') return;
      event.preventDefault();
      this.close();
    });
  }

  /** Shows `state` on the badge, in the summary and on the switches. */
  showState(state: PhoneState): void {
    const [condition, sentence] = summarise(this.phone, state);
    this.badge.setAttribute('aria-label', `Simulated phone. ${sentence}`);
    this.badge.title = sentence;
    this.summary.replaceChildren(html('span', { class: 'dot' }), sentence);
    this.summary.hidden = condition === 'stopped'; // the card below it says more
    for (const node of [this.badge, this.summary]) node.dataset.condition = condition;
    this.switches.show(state);
  }

  /** Names the failed precondition, if there is one, to whoever is looking elsewhere. */
  showFailure(): void {
    const hadFocus = this.failure.node.matches(':focus-within');
    if (this.phone.failure !== null) this.open();
    this.failure.update();
    if (hadFocus) this.tabs.focus();
  }

  /** Brings `content` up to date. */
  update(content: Content): void {
    this.stale.add(content);
    this.draw();
  }

  /** Shows what has changed, once a frame and only while the drawer is open. */
  private draw(): void {
    if (this.isScheduled || this.node.hidden) return;
    this.isScheduled = true;
    requestAnimationFrame(() => {
      this.isScheduled = false;
      for (const content of this.stale) this.updates[content]();
      this.stale.clear();
    });
  }

  private open(): void {
    const hadFocus = this.badge.matches(':focus');
    this.node.hidden = false;
    this.badge.hidden = true;
    if (hadFocus) this.tabs.focus();
    this.draw();
  }

  private close(): void {
    this.node.hidden = true;
    this.badge.hidden = false;
    this.badge.focus();
  }

  private header(): HTMLElement {
    const { name, storage } = this.phone;
    return html(
      'header',
      {},
      icon(icons.phone),
      html(
        'div',
        {},
        html('h2', { id: 'title' }, 'Simulated phone'),
        html('p', { class: 'quiet' }, `“${name}”, ${storages[storage]}`),
      ),
      button({ class: 'close', 'aria-label': 'Close', title: 'Close (Esc)' }, () => this.close(), icon(icons.close)),
    );
  }
}
