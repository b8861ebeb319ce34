import type { LogEntry } from '../definitions.js';

import { html } from './dom.js';
import { atTime, forPeople } from './time.js';
import type { Phone, View } from './view.js';

/** How many of the latest entries are shown: enough to look back, and few enough for a page that makes thousands. */
const latest = 200;

function details({ options, result, error, calledAt }: LogEntry): HTMLElement {
  const part = (term: string, value: object) => [
    html('dt', {}, term),
    html('dd', {}, html('pre', {}, JSON.stringify(value, null, 2))),
  ];
  return html(
    'dl',
    {},
    html('dt', {}, 'Called at ', atTime(calledAt)),
    ...part('Options', options),
    ...(result ? part('Resolved with', result) : []),
    ...(error ? part('Rejected with', error) : []),
  );
}

/** One call, which keeps its place, its focus and whether it is open when its entry is replaced. */
class Row {
  readonly node = html('li');
  private readonly box = html('details');
  private readonly outcome = html('span');
  private readonly duration = html('span', { class: 'duration' });
  private readonly message = html('span', { class: 'message quiet' });

  constructor(private entry: LogEntry) {
    const method = html('span', { class: 'mono' }, entry.method);
    this.box.append(html('summary', {}, method, this.outcome, this.duration, this.message));
    this.box.addEventListener('toggle', () => this.showDetails());
    this.node.append(this.box);
    this.show(entry);
  }

  show(entry: LogEntry): void {
    const { outcome, error, duration } = entry;
    this.entry = entry;
    this.outcome.className = `outcome ${outcome}`;
    this.outcome.textContent = outcome;
    this.message.textContent = error?.message ?? '';
    this.duration.textContent = duration === undefined ? '' : forPeople(duration);
    this.showDetails();
  }

  /** Builds what only an open row needs. */
  private showDetails(): void {
    this.box.querySelector('dl')?.remove();
    if (this.box.open) this.box.append(details(this.entry));
  }
}

/** The calls, latest first. */
export function callsView(phone: Phone): View {
  const rows = new Map<number, Row>();
  const list = html('ol', { class: 'list' });
  const empty = html('p', { class: 'empty' }, 'No call has been made yet. Every call of the plugin appears here.');

  function show(entry: LogEntry): void {
    const row = rows.get(entry.id);
    if (row) {
      row.show(entry);
    } else {
      const added = new Row(entry);
      rows.set(entry.id, added);
      list.prepend(added.node);
    }
  }

  let shown = new Set<LogEntry>();
  return {
    node: html('div', {}, empty, list),
    update() {
      const entries = new Set(phone.log.slice(-latest));
      const ids = new Set([...entries].map(({ id }) => id));
      for (const [id, row] of rows) {
        if (ids.has(id)) continue;
        row.node.remove();
        rows.delete(id);
      }
      for (const entry of entries) if (!shown.has(entry)) show(entry);
      shown = entries;
      empty.hidden = entries.size > 0;
    },
  };
}

/** The lines that the component wrote, latest last as on any console. */
export function consoleView(phone: Phone): View {
  const list = html('ol', { class: 'lines' });
  const empty = html('p', { class: 'empty' }, 'The component has not written to its console yet.');
  return {
    node: html('div', {}, empty, list),
    update() {
      const lines = phone.console.slice(-latest);
      list.replaceChildren(...lines.map((line) => html('li', {}, line)));
      empty.hidden = lines.length > 0;
    },
  };
}
