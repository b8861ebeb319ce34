/** The element of the page with this id. Throws where there is none of that kind. */
export function element<Kind extends HTMLElement = HTMLElement>(id: string, kind?: new () => Kind): Kind {
  const found = document.getElementById(id);
  if (found === null || (kind && !(found instanceof kind))) throw new Error(`The page has no such element: ${id}.`);
  return found as Kind;
}

/** A new element with these properties and children. */
export function make<Tag extends keyof HTMLElementTagNameMap>(
  tag: Tag,
  properties: Partial<HTMLElementTagNameMap[Tag]> = {},
  ...children: (Node | string)[]
): HTMLElementTagNameMap[Tag] {
  const made = Object.assign(document.createElement(tag), properties);
  made.append(...children);
  return made;
}

/** Lets the link download `content` under `name`. */
export function offerDownload(link: HTMLAnchorElement, name: string, type: string, content: BlobPart): void {
  if (link.href) URL.revokeObjectURL(link.href);
  link.href = URL.createObjectURL(new Blob([content], { type }));
  link.download = name;
  link.removeAttribute('aria-disabled');
}

/** Takes back what the link offers. */
export function withdrawDownload(link: HTMLAnchorElement): void {
  if (link.href) URL.revokeObjectURL(link.href);
  link.removeAttribute('href');
  link.setAttribute('aria-disabled', 'true');
}
