import { styles } from './styles.js';

const name = 'kavrel-simulator';

/** What a person does in the panel, which the app has no business to hear of. */
const inputs = [
  ...['click', 'dblclick', 'auxclick', 'contextmenu', 'mousedown', 'mouseup', 'pointerdown', 'pointerup'],
  ...['touchstart', 'touchend', 'wheel', 'keydown', 'keypress', 'keyup', 'focusin', 'focusout', 'beforeinput', 'input'],
  ...['copy', 'cut', 'paste'],
];

/** The panel's element. */
interface Host extends HTMLElement {
  /** Is called on its way into the document. It is no listener, since `document.open()` takes all of those away. */
  connected?: () => void;
}

/**
 * Defines the panel's element. A server has no elements to extend, and a second copy of this module, after a hot reload,
 * finds it defined: so this is done when it is needed.
 */
function define(): void {
  if (customElements.get(name)) return;
  customElements.define(
    name,
    class extends HTMLElement implements Host {
      connected?: () => void;

      connectedCallback(): void {
        this.connected?.();
      }
    },
  );
}

/** What is shown on the page. */
export interface Content {
  /** A popover. */
  readonly root: HTMLElement;

  /** Is called when the root has come into the document, or has been moved in it. */
  shown(): void;

  /** Is called when the root will not be in the document any more. */
  discard(): void;
}

/** Returns an element with `root` in a shadow root of its own. */
function hostOf(root: HTMLElement): Host {
  const host = document.createElement(name);
  for (const type of inputs) host.addEventListener(type, (event) => event.stopPropagation());
  const sheet = new CSSStyleSheet();
  sheet.replaceSync(styles);
  const shadow = host.attachShadow({ mode: 'open' });
  shadow.adoptedStyleSheets = [sheet];
  shadow.append(root);
  return host;
}

/**
 * Keeps on the page what `create` returns, laid out in the direction of the app. Returns a function that takes it away.
 *
 * Its element is a sibling of the body, which frameworks empty and apps hide. If something takes it away all the same,
 * another one comes: nobody is to take a simulated phone for a real one. It is created anew, since `document.open()`
 * leaves elements that hear nothing any more.
 */
export function keepOnPage(create: () => Content): () => void {
  define();
  let content: Content;
  let host: Host;
  let isWanted = true;

  const turn = () => {
    content.root.dir = getComputedStyle(document.body ?? document.documentElement).direction;
  };
  const show = () => {
    content = create();
    turn(); // before the panel is in the document, which would be laid out for it
    host = hostOf(content.root);
    host.connected = () => {
      content.root.showPopover?.(); // where there are no popovers, the root is simply shown
      content.shown();
    };
    document.documentElement.append(host);
  };
  const comeBack = () => {
    if (!isWanted || host.isConnected || !document.documentElement) return;
    content.discard();
    show();
  };
  const observer = new MutationObserver(() => {
    observe();
    if (!document.documentElement) return;
    turn();
    if (!host.isConnected) setTimeout(comeBack); // not at once: what removes it may be an observer as well
  });
  /** Watches what says the direction, and what comes in its place. */
  const observe = () => {
    observer.disconnect();
    observer.observe(document, { childList: true });
    for (const node of [document.documentElement, document.body]) {
      if (node) observer.observe(node, { attributeFilter: ['dir'], childList: node !== document.body });
    }
  };

  show();
  observe();
  return () => {
    isWanted = false;
    observer.disconnect();
    content.discard();
    host.remove();
  };
}
