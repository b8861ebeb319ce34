import type { Item } from '../definitions.js';

import { html } from './dom.js';
import { atTime } from './time.js';
import type { Phone, View } from './view.js';
import { messageOf, refresher } from './view.js';
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

/** The keychain's items, or why they cannot be read. `count` is told how many there are. */
export function itemsView(phone: Phone, count: (items: number) => void): View {
  const list = html('ul', { class: 'list' });
  const instead = html('p', { class: 'empty' });
  const show = (items: Item[], reason: string) => {
    list.replaceChildren(...items.map(row));
    instead.textContent = items.length > 0 ? '' : reason;
    instead.hidden = items.length > 0;
    count(items.length);
  };
  const update = refresher(
    () => phone.items(),
    (items) => show(items, 'The keychain is empty. A call of ensureKey or createCSR makes a key pair.'),
    (error) => show([], `The keychain cannot be read. ${messageOf(error)}`),
  );
  return { node: html('div', {}, instead, list), update };
}
