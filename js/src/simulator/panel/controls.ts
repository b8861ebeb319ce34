import type { Simulator } from '../definitions.js';

import { button, html } from './dom.js';
import type { Tell } from './notice.js';
import type { Report } from './view.js';

/** Starts the app again, and gives the phone back as new once that was confirmed. */
export function controls(phone: Simulator, tell: Tell, report: Report): HTMLElement {
  const restart = () => phone.restart().then(() => tell('The app was started again'), report);
  const reset = () => phone.reset().then(() => tell('The phone is as good as new'), report);

  const ask = button({}, () => turn(true), 'Reset the phone…');
  const keep = button({}, () => turn(false), 'Keep it');
  const usual = html('div', {}, button({}, restart, 'Restart the app'), ask);
  const question = html(
    'div',
    { role: 'group', 'aria-labelledby': 'question', hidden: true },
    html('p', { id: 'question' }, 'This deletes every key and the certificate, and undoes every switch.'),
    button(
      { class: 'danger' },
      () => {
        turn(false);
        void reset();
      },
      'Reset the phone',
    ),
    keep,
  );

  function turn(isAsking: boolean): void {
    usual.hidden = isAsking;
    question.hidden = !isAsking;
    (isAsking ? keep : ask).focus();
  }

  return html('footer', {}, usual, question);
}

/** Names the precondition that stopped the process, and offers to start the app again. Empty while the app runs. */
export function failureCard(phone: Simulator, tell: Tell, report: Report): { node: HTMLElement; show(): void } {
  const node = html('div', { role: 'alert' });
  const restart = () => phone.restart().then(() => tell('The app was started again'), report);
  let shown: string | null = null;
  return {
    node,
    show() {
      if (phone.failure === shown) return;
      shown = phone.failure;
      node.replaceChildren();
      if (shown === null) return;
      node.append(
        html(
          'div',
          { class: 'failure' },
          html('h3', {}, 'The app has stopped'),
          html('p', {}, 'This precondition failed:'),
          html('p', { class: 'mono' }, shown),
          html('p', { class: 'quiet' }, 'Pending calls never settle, as after a crash on the phone.'),
          button({ class: 'primary' }, restart, 'Start again'),
        ),
      );
    },
  };
}
