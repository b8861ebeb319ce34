import { button, html } from './dom.js';

interface Tab {
  readonly button: HTMLButtonElement;
  readonly panel: HTMLElement;
}

/** The panel's pages, one of which is shown. */
export class Tabs {
  readonly list = html('div', { class: 'tabs', role: 'tablist', 'aria-label': 'Pages' });
  readonly panels: HTMLElement[] = [];
  private readonly tabs: Tab[] = [];
  private selected = 0;

  constructor() {
    this.list.addEventListener('keydown', (event) => this.onKey(event));
  }

  /** Adds a page. Returns a function that shows a number beside its name, unless it is zero. */
  add(id: string, name: string, content: HTMLElement): (count: number) => void {
    const at = this.tabs.length;
    const count = html('span', { class: 'count' });
    const tab = button({ role: 'tab', id: `${id}-tab`, 'aria-controls': id }, () => this.select(at), name, count);
    const panel = html(
      'div',
      { class: 'view', role: 'tabpanel', id, 'aria-labelledby': `${id}-tab`, tabindex: '0' },
      content,
    );
    this.tabs.push({ button: tab, panel });
    this.list.append(tab);
    this.panels.push(panel);
    this.select(0);
    return (number) => (count.textContent = number ? String(number) : '');
  }

  focus(): void {
    this.tabs[this.selected].button.focus();
  }

  private select(selected: number): void {
    this.selected = selected;
    this.tabs.forEach(({ button, panel }, at) => {
      button.setAttribute('aria-selected', String(at === selected));
      button.tabIndex = at === selected ? 0 : -1;
      panel.hidden = at !== selected;
    });
  }

  private onKey(event: KeyboardEvent): void {
    const last = this.tabs.length - 1;
    const forward = getComputedStyle(this.list).direction === 'rtl' ? 'ArrowLeft' : 'ArrowRight';
    const backward = forward === 'ArrowLeft' ? 'ArrowRight' : 'ArrowLeft';
    const next: Record<string, number> = {
      [forward]: this.selected === last ? 0 : this.selected + 1,
      [backward]: this.selected === 0 ? last : this.selected - 1,
      Home: 0,
      End: last,
    };
    if (!(event.key in next)) return;
    event.preventDefault();
    this.select(next[event.key]);
    this.focus();
  }
}
