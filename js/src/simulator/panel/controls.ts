import { button, html } from './dom.js';
import type { Tell } from './notice.js';
import type { Phone, Report, View } from './view.js';

/** Buttons that start the app again and, once that is confirmed, reset the phone. */
export function controls(phone: Phone, restart: () => void, tell: Tell, report: Report): HTMLElement {
  const ask = button({}, () => turn(true), 'Reset the phone…');
  const keep = button({}, () => turn(false), 'Keep it');
  const usual = html('div', {}, button({}, restart, 'Restart the app'), ask);
  const reset = () => {
    turn(false);
    void phone.reset().then(() => tell('The phone was reset'), report);
  };
  const question = html(
    'div',
    { role: 'group', 'aria-labelledby': 'question', hidden: true },
    html('p', { id: 'question' }, 'This deletes every key and the certificate, and undoes every switch.'),
    button({ class: 'danger' }, reset, 'Reset the phone'),
    keep,
  );

  function turn(isAsking: boolean): void {
    usual.hidden = isAsking;
    question.hidden = !isAsking;
    (isAsking ? keep : ask).focus();
  }

  return html('footer', {}, usual, question);
}

/** Says what stopped the process, and offers to start the app again. Empty while the app runs. */
export function failureCard(phone: Phone, restart: () => void): View {
  const node = html('div', { role: 'alert' });
  const reason = html('p', { class: 'mono' });
  const card = html(
    'div',
    { class: 'failure' },
    html('h3', {}, 'The app has stopped'),
    reason,
    html('p', { class: 'quiet' }, 'Pending calls never settle, as after a crash on the phone.'),
    button({ class: 'primary' }, restart, 'Start again'),
  );
  return {
    node,
    update() {
      const { failure } = phone;
      if (failure === null) card.remove();
      else if (!node.contains(card)) node.append(card);
      if (reason.textContent !== failure) reason.textContent = failure;
    },
  };
}
