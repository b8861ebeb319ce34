import type { PhoneState, Simulator } from '../definitions.js';

import { controls, failureCard } from './controls.js';
import { button, html, icon } from './dom.js';
import { icons } from './icons.js';
import { itemsView } from './items.js';
import { callsView, consoleView } from './log.js';
import type { Tell } from './notice.js';
import { switchesView } from './switches.js';
import { Tabs } from './tabs.js';
import type { Report } from './view.js';
import { summarise } from './words.js';

const storages: Record<Simulator['storage'], string> = { indexeddb: 'kept in IndexedDB', memory: 'kept in memory' };

/** The badge, and what it opens. One of the two is on the page, always. */
export class Drawer {
  readonly badge: HTMLButtonElement;
  readonly node: HTMLElement;
  private readonly summary = html('p', { class: 'summary' });
  private readonly tabs = new Tabs();
  private readonly switches;
  private readonly failure;
  private readonly updateCounts: () => void;
  private isScheduled = false;

  constructor(
    private readonly phone: Simulator,
    tell: Tell,
    report: Report,
  ) {
    this.switches = switchesView(phone, report);
    this.failure = failureCard(phone, tell, report);
    const items = itemsView(phone, (count) => countItems(count), report);
    this.tabs.add('phone', 'Phone', this.switches);
    const countItems = this.tabs.add('keychain', 'Keychain', items);
    const countCalls = this.tabs.add('calls', 'Calls', callsView(phone));
    const countLines = this.tabs.add('console', 'Console', consoleView(phone));
    this.updateCounts = () => {
      items.update();
      countCalls(phone.log.length);
      countLines(phone.console.length);
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
      controls(phone, tell, report),
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
    const { node, show } = this.failure;
    const hadFocus = node.matches(':focus-within');
    if (this.phone.failure !== null) this.open();
    show();
    if (hadFocus) this.tabs.focus();
  }

  /** Brings what is shown up to date, at most once a frame. */
  update(): void {
    if (this.isScheduled || this.node.hidden) return;
    this.isScheduled = true;
    requestAnimationFrame(() => {
      this.isScheduled = false;
      this.updateCounts();
      this.tabs.update();
    });
  }

  private open(): void {
    const hadFocus = this.badge.matches(':focus');
    this.node.hidden = false;
    this.badge.hidden = true;
    if (hadFocus) this.tabs.focus();
    this.update();
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
