import { html } from './dom.js';

/** How long a notice stays in sight, in milliseconds. */
const duration = 5000;

/** How long an empty region is on the page before its words, in milliseconds. Screen readers have to know it by then. */
const delay = 50;

/** Tells what became of something. `refused` tells that the phone turned somebody away. */
export type Tell = (words: string, refused?: boolean) => void;

/** A line at the foot of the page, in `root`, that goes by itself and takes no input. Screen readers read it out. */
export function createNotice(root: HTMLElement): { tell: Tell; close(): void } {
  const node = html('p', { class: 'notice', role: 'status' });
  let timer: ReturnType<typeof setTimeout> | undefined;
  const close = () => {
    clearTimeout(timer);
    node.remove();
    node.textContent = '';
  };
  return {
    close,
    tell(words, refused = false) {
      clearTimeout(timer);
      if (!node.isConnected) root.append(node);
      timer = setTimeout(() => {
        node.textContent = words;
        node.classList.toggle('refused', refused);
        timer = setTimeout(close, duration);
      }, delay);
    },
  };
}
