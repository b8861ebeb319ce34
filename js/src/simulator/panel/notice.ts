import { html } from './dom.js';

/** How long a notice stays in sight, in milliseconds. */
const duration = 5000;

/** Tells what became of something. `refused` tells that the phone turned somebody away. */
export type Tell = (words: string, refused?: boolean) => void;

/** A line at the foot of the page that goes by itself and takes no input. Screen readers read it out. */
export function createNotice(): { node: HTMLElement; tell: Tell } {
  const node = html('p', { class: 'notice', role: 'status' });
  let timer: ReturnType<typeof setTimeout> | undefined;
  return {
    node,
    tell(words, refused = false) {
      clearTimeout(timer);
      node.textContent = words;
      node.classList.toggle('refused', refused);
      timer = setTimeout(() => (node.textContent = ''), duration);
    },
  };
}
