import type { Item } from '../definitions.js';

import { html } from './dom.js';
import { atTime } from './time.js';
import type { Phone, Report, View } from './view.js';
import { refresher } from './view.js';
import { accessibilities } from './words.js';

const classes: Record<Item['class'], string> = {
  privateKey: 'Private key',
  publicKey: 'Public key',
  genericPassword: 'Generic password',
};

function row(item: Item): HTMLElement {
  return html(
    'li',
    { class: 'item' },
    html('p', { class: 'head' }, html('b', {}, classes[item.class]), atTime(item.createdAt)),
    html('p', { class: 'mono' }, 'tag' in item ? item.tag : item.account),
    html('p', { class: 'quiet' }, `Accessible ${accessibilities[item.accessibility]}`),
  );
}

/** The keychain's items. `count` is told how many there are. */
export function itemsView(phone: Phone, count: (items: number) => void, report: Report): View {
  const list = html('ul', { class: 'list' });
  const empty = html(
    'p',
    { class: 'empty' },
    'The keychain is empty. A call of ensureKey or createCSR makes a key pair.',
  );
  const show = (items: Item[]) => {
    list.replaceChildren(...items.map(row));
    empty.hidden = items.length > 0;
    count(items.length);
  };
  return { node: html('div', {}, empty, list), update: refresher(() => phone.items(), show, report) };
}
