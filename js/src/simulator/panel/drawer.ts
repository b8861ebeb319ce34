import type { PhoneState } from '../definitions.js';

import { controls, failureCard } from './controls.js';
import { button, html, icon } from './dom.js';
import { icons } from './icons.js';
import { itemsView } from './items.js';
import { callsView, consoleView } from './log.js';
import type { Tell } from './notice.js';
import { switches } from './switches.js';
import { Tabs } from './tabs.js';
import type { Phone, Report, View } from './view.js';
import type { Condition } from './words.js';
import { summarise } from './words.js';

const storages: Record<Phone['storage'], string> = { indexeddb: 'kept in IndexedDB', memory: 'kept in memory' };

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
    private readonly phone: Phone,
    tell: Tell,
    report: Report,
  ) {
    const restart = () => void phone.restart().then(() => tell('The app was started again'), report);
    this.switches = switches(phone, report);
    this.failure = failureCard(phone, restart);
    const items = itemsView(phone, (count) => countItems(count));
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
      { class: 'badge', id: 'badge', 'aria-haspopup': 'dialog' },
      () => this.open(),
      dot,
      html('b', {}, 'Simulator'),
    );
    this.node = html(
      'div',
      { class: 'drawer', role: 'dialog', 'aria-labelledby': 'title' },
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
    if (this.phone.failure === null) this.summarise(...summarise(this.phone.prompts, state));
    this.switches.show(state);
  }

  /** Says what stopped the process, if something did, to whoever is looking elsewhere. */
  showFailure(): void {
    const hadFocus = this.failure.node.matches(':focus-within');
    const hasStopped = this.phone.failure !== null;
    if (hasStopped) {
      this.open();
      this.summarise('stopped', 'The app has stopped.');
    }
    this.failure.update();
    if (hadFocus && !hasStopped) this.tabs.focus();
  }

  /** Brings `content` up to date. */
  update(content: Content): void {
    this.stale.add(content);
    this.draw();
  }

  private summarise(condition: Condition, sentence: string): void {
    this.badge.title = sentence;
    this.summary.replaceChildren(html('span', { class: 'dot' }), sentence);
    this.summary.hidden = condition === 'stopped'; // the card below it says more
    for (const node of [this.badge, this.summary]) node.dataset.condition = condition;
  }

  /** Shows what has changed, once a frame and only while the drawer is open. */
  private draw(): void {
    if (this.isScheduled || !this.node.isConnected) return;
    this.isScheduled = true;
    requestAnimationFrame(() => {
      this.isScheduled = false;
      for (const content of this.stale) this.updates[content]();
      this.stale.clear();
    });
  }

  private open(): void {
    const hadFocus = this.badge.matches(':focus');
    this.badge.replaceWith(this.node);
    if (hadFocus) this.tabs.focus();
    this.draw();
  }

  private close(): void {
    this.node.replaceWith(this.badge);
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
