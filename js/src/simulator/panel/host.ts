import { styles } from './styles.js';

const name = 'kavrel-simulator';

/** What a person does in the panel, which the app has no business to hear of. */
const inputs = [
  ...['click', 'dblclick', 'auxclick', 'contextmenu', 'mousedown', 'mouseup', 'pointerdown', 'pointerup'],
  ...['touchstart', 'touchend', 'wheel', 'keydown', 'keypress', 'keyup', 'focusin', 'focusout', 'beforeinput', 'input'],
  ...['copy', 'cut', 'paste'],
];

/**
 * Defines the panel's element, which tells of its way into the document and out of it. A server has no elements to
 * extend, and a second copy of this module, after a hot reload, finds it defined: so this is done when it is needed.
 */
function define(): void {
  if (customElements.get(name)) return;
  customElements.define(
    name,
    class extends HTMLElement {
      connectedCallback(): void {
        this.dispatchEvent(new Event('connected'));
      }

      disconnectedCallback(): void {
        this.dispatchEvent(new Event('disconnected'));
      }
    },
  );
}

/** Lays `root` out in the direction of the app, wherever the app has said which. */
function follow(root: HTMLElement): MutationObserver {
  const turn = () => (root.dir = getComputedStyle(document.body ?? document.documentElement).direction);
  const observer = new MutationObserver(turn);
  for (const node of [document.documentElement, document.body]) {
    if (node) observer.observe(node, { attributeFilter: ['dir'] });
  }
  turn();
  return observer;
}

/**
 * Puts `root`, a popover, on the page in a shadow root of its own, and returns a function that takes it away. The
 * element is a sibling of the body, which frameworks empty and apps hide. If something takes it away all the same, it
 * comes back: nobody is to take a simulated phone for a real one. `onReturn` is called then.
 */
export function showOnPage(root: HTMLElement, onReturn: () => void): () => void {
  define();
  const host = document.createElement(name);
  for (const type of inputs) host.addEventListener(type, (event) => event.stopPropagation());

  const sheet = new CSSStyleSheet();
  sheet.replaceSync(styles);
  const shadow = host.attachShadow({ mode: 'open' });
  shadow.adoptedStyleSheets = [sheet];
  shadow.append(root);

  const append = () => document.documentElement.append(host);
  let isWanted = true;
  host.addEventListener('connected', () => {
    root.showPopover?.(); // where there are no popovers, the root is simply shown
    onReturn();
  });
  host.addEventListener('disconnected', () => setTimeout(() => isWanted && !host.isConnected && append()));
  const observer = follow(root); // before the panel is in the document, which would be laid out for it
  append();
  return () => {
    isWanted = false;
    observer.disconnect();
    host.remove();
  };
}
