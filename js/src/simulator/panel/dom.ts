// Builds what the panel shows. No markup is ever parsed, so no string of the app or of the phone becomes an element.

type Attributes = Record<string, string | boolean>;
type Children = (Node | string)[];

function filled<E extends Element>(node: E, attributes: Attributes, children: Children): E {
  for (const [name, value] of Object.entries(attributes)) {
    if (value !== false) node.setAttribute(name, value === true ? '' : value);
  }
  node.append(...children);
  return node;
}

/** Returns a new element. An attribute that is `false` is left out, and one that is `true` is empty. */
export function html<Tag extends keyof HTMLElementTagNameMap>(
  tag: Tag,
  attributes: Attributes = {},
  ...children: Children
): HTMLElementTagNameMap[Tag] {
  return filled(document.createElement(tag), attributes, children);
}

/** Returns a drawing of 24 by 24 units in the colour of the text around it, which screen readers pass over. */
export function icon(path: string): SVGSVGElement {
  const svg = <Tag extends keyof SVGElementTagNameMap>(tag: Tag, attributes: Attributes, ...children: Children) =>
    filled(document.createElementNS('http://www.w3.org/2000/svg', tag), attributes, children);
  return svg('svg', { viewBox: '0 0 24 24', 'aria-hidden': 'true' }, svg('path', { d: path }));
}

/** Returns a button that does `action` when it is pressed. */
export function button(attributes: Attributes, action: () => void, ...children: Children): HTMLButtonElement {
  const node = html('button', { type: 'button', ...attributes }, ...children);
  node.addEventListener('click', action);
  return node;
}
