// The panel's one style sheet. It is adopted by the shadow root, which a content security policy allows where it forbids
// styles in the markup. Lengths are in em over the reader's own font size, since the app sets that of its root element.

const css = String.raw;

export const styles = css`
  /* "!important" inside a shadow root wins over every declaration of the app, its important ones included. */
  :host {
    all: initial !important;
    display: contents !important;
  }

  *,
  ::before,
  ::after {
    box-sizing: border-box;
  }

  [hidden] {
    display: none !important;
  }

  .simulator {
    --paper: #fdfbf6;
    --well: #f2eee4;
    --line: #d8d0bf;
    --edge: #8a826f;
    --ink: #211d16;
    --quiet: #655d4e;
    --accent: #9a3f00;
    --on-accent: #fff;
    --good: #17663a;
    --warn: #8a5300;
    --bad: #ad1f17;
    --tar: #211d16;
    --signal: #ffb000;
    --shade: 0 1px 2px #0003, 0 12px 40px #0003;
    --mono: ui-monospace, 'SF Mono', 'Cascadia Mono', Menlo, Consolas, 'DejaVu Sans Mono', monospace;
    --hatch: repeating-linear-gradient(-45deg, var(--signal) 0 0.5em, var(--tar) 0.5em 1em);

    color-scheme: light;
    color: var(--ink);
    font:
      0.8125em/1.45 system-ui,
      'Segoe UI',
      'Noto Sans',
      sans-serif;
    text-align: start;
  }

  @media (prefers-color-scheme: dark) {
    .simulator {
      --paper: #1b1915;
      --well: #28251f;
      --line: #403b31;
      --edge: #857c69;
      --ink: #f3eee2;
      --quiet: #b3aa98;
      --accent: #ffb54d;
      --on-accent: #231500;
      --good: #7fd3a0;
      --warn: #ffc95c;
      --bad: #ff9187;
      --shade: 0 0 0 1px #ffffff14, 0 12px 40px #000a;

      color-scheme: dark;
    }
  }

  /* The words are English whatever the page's direction: laid out towards its start, each read in its own. */
  [dir='rtl'] {
    text-align: right;
  }

  h2,
  h3,
  p,
  legend,
  button,
  label,
  summary,
  dt,
  dd,
  span {
    unicode-bidi: plaintext;
  }

  h2,
  h3,
  p,
  ol,
  ul,
  dl,
  dd,
  pre,
  fieldset {
    margin: 0;
    padding: 0;
    border: 0;
    min-inline-size: 0;
    list-style: none;
    font: inherit;
  }

  svg {
    flex: none;
    inline-size: 1.25em;
    block-size: 1.25em;
    fill: none;
    stroke: currentcolor;
    stroke-width: 1.75;
    stroke-linecap: round;
    stroke-linejoin: round;
  }

  :focus-visible {
    outline: 2px solid var(--accent);
    outline-offset: 2px;
  }

  button {
    appearance: none;
    margin: 0;
    padding: 0.4em 0.9em;
    border: 1px solid var(--edge);
    border-radius: 0.5em;
    background: var(--paper);
    color: inherit;
    font: inherit;
    font-weight: 500;
    cursor: pointer;
  }

  button:hover {
    background: var(--well);
  }

  button:disabled {
    opacity: 0.6;
    cursor: default;
  }

  .primary {
    border-color: var(--accent);
    background: var(--accent);
    color: var(--on-accent);
  }

  .primary:hover {
    background: color-mix(in srgb, var(--accent) 88%, var(--ink));
  }

  .danger {
    border-color: var(--bad);
    color: var(--bad);
  }

  .quiet {
    color: var(--quiet);
  }

  .mono {
    font-family: var(--mono);
    font-size: 0.95em;
    overflow-wrap: anywhere;
  }

  /* In the top layer, so that no stacking context or transform of the app moves or covers it. */
  .simulator {
    position: fixed;
    z-index: 2147483647;
    inset: 0 auto auto 0;
    inline-size: 0;
    block-size: 0;
    margin: 0;
    padding: 0;
    border: 0;
    overflow: visible;
    background: none;
  }

  /* An index tab on the edge of the page. */
  .badge {
    position: fixed;
    inset-block-start: 56%;
    inset-inline-end: 0;
    display: flex;
    flex-direction: column;
    align-items: center;
    gap: 0.65em;
    inline-size: max(24px, 1.9em);
    min-block-size: 0;
    padding: 0 0 0.9em;
    border: 0;
    border-start-start-radius: 0.6em;
    border-end-start-radius: 0.6em;
    background: var(--tar);
    box-shadow:
      0 0 0 1px #fff5,
      0 2px 8px #0004;
    color: #fff3d6;
    font-size: 0.8462em;
    letter-spacing: 0.03em;
    overflow: hidden;
  }

  .badge::before {
    content: '';
    align-self: stretch;
    block-size: 1.1em;
    background: var(--hatch);
  }

  .badge b {
    font-weight: 500;
    writing-mode: vertical-rl;
  }

  .badge:hover {
    background: #3a3327;
  }

  .badge:focus-visible {
    outline-color: var(--accent);
  }

  .dot {
    flex: none;
    display: inline-block;
    inline-size: 0.65em;
    block-size: 0.65em;
    border-radius: 50%;
    background: var(--good);
  }

  .badge .dot {
    background: #6fdc98;
  }

  [data-condition='limited'] > .dot {
    background: var(--warn);
    border-radius: 0;
    rotate: 45deg;
  }

  .badge[data-condition='limited'] > .dot {
    background: var(--signal);
  }

  [data-condition='stopped'] > .dot {
    background: var(--bad);
    border-radius: 0;
  }

  .badge[data-condition='stopped'] > .dot {
    background: #ff8a80;
  }

  .drawer {
    position: fixed;
    inset-block-end: 12px;
    inset-inline-end: 12px;
    display: flex;
    flex-direction: column;
    inline-size: min(30em, 100vw - 24px);
    block-size: min(48em, 100vh - 24px);
    block-size: min(48em, 100dvh - 24px);
    border: 1px solid var(--line);
    border-radius: 0.9em;
    background: var(--paper);
    box-shadow: var(--shade);
    overflow: hidden;
  }

  .drawer::before,
  .sheet::before {
    content: '';
    flex: none;
    display: block;
    block-size: 6px;
    background: var(--hatch);
  }

  @media (max-width: 480px) {
    .drawer {
      inset-inline: 0;
      inset-block-end: 0;
      inline-size: auto;
      block-size: min(48em, 86vh);
      block-size: min(48em, 86dvh);
      border-width: 1px 0 0;
      border-end-start-radius: 0;
      border-end-end-radius: 0;
    }
  }

  header {
    display: flex;
    align-items: center;
    gap: 0.75em;
    padding: 0.75em 1em;
  }

  header > div {
    flex: 1;
    min-inline-size: 0;
  }

  h2 {
    font-size: 1.1539em;
    font-weight: 650;
    line-height: 1.2;
  }

  header p {
    overflow-wrap: anywhere;
  }

  .close {
    display: grid;
    place-items: center;
    inline-size: 2.5em;
    block-size: 2.5em;
    padding: 0;
    border-color: transparent;
  }

  .summary {
    display: flex;
    align-items: baseline;
    gap: 0.6em;
    margin: 0 1em 0.75em;
  }

  .failure {
    display: grid;
    gap: 0.5em;
    justify-items: start;
    margin: 0 1em 1em;
    padding: 0.75em 0.9em;
    border: 1px solid var(--bad);
    border-inline-start-width: 4px;
    border-radius: 0.5em;
  }

  .failure h3 {
    color: var(--bad);
  }

  h3 {
    font-weight: 650;
  }

  .tabs {
    display: flex;
    gap: 0.25em;
    padding-inline: 0.75em;
    border-block-end: 1px solid var(--line);
  }

  .tabs button {
    display: flex;
    gap: 0.4em;
    margin-block-end: -1px;
    padding: 0.5em 0.6em;
    border: 0;
    border-block-end: 3px solid transparent;
    border-radius: 0.4em 0.4em 0 0;
    background: none;
    color: var(--quiet);
  }

  .tabs button:hover {
    color: var(--ink);
  }

  .tabs button:focus-visible {
    outline-offset: -2px;
  }

  .tabs [aria-selected='true'] {
    border-block-end-color: var(--accent);
    color: var(--ink);
    font-weight: 650;
  }

  .count {
    font-variant-numeric: tabular-nums;
    font-weight: 400;
    color: var(--quiet);
  }

  .view {
    flex: 1;
    padding: 1em;
    overflow: hidden auto;
    overscroll-behavior: contain;
  }

  .view:focus-visible {
    outline-offset: -2px;
  }

  footer {
    padding: 0.75em 1em;
    border-block-start: 1px solid var(--line);
  }

  footer div {
    display: flex;
    flex-wrap: wrap;
    gap: 0.5em;
  }

  footer p {
    flex: 1 0 100%;
  }

  /* The phone's switches. */
  .switches {
    display: grid;
    gap: 1.25em;
  }

  legend {
    margin-block-end: 0.4em;
    padding: 0;
    font-weight: 650;
  }

  .segments {
    display: flex;
    border: 1px solid var(--edge);
    border-radius: 0.5em;
    overflow: hidden;
  }

  .segments label {
    position: relative;
    flex: 1 1 0;
    display: grid;
    place-items: center;
    min-block-size: 2.5em;
    padding: 0.25em 0.3em;
    text-align: center;
    cursor: pointer;
  }

  .segments label + label {
    border-inline-start: 1px solid var(--line);
  }

  .segments label:hover {
    background: var(--well);
  }

  .segments label:has(:checked) {
    background: var(--accent);
    color: var(--on-accent);
    font-weight: 600;
  }

  .segments label:has(:focus-visible) {
    outline: 2px solid var(--on-accent);
    outline-offset: -4px;
  }

  .segments label:not(:has(:checked)):has(:focus-visible) {
    outline-color: var(--accent);
  }

  .segments input {
    position: absolute;
    inset: 0;
    margin: 0;
    opacity: 0;
    cursor: pointer;
  }

  .toggles {
    border-block: 1px solid var(--line);
  }

  .toggles label {
    display: grid;
    grid-template-columns: 1fr auto;
    align-items: center;
    column-gap: 1em;
    padding-block: 0.6em;
    cursor: pointer;
  }

  .toggles label + label {
    border-block-start: 1px solid var(--line);
  }

  .toggles b {
    display: block;
    font-weight: 500;
  }

  [role='switch'] {
    appearance: none;
    position: relative;
    inline-size: 2.9em;
    block-size: 1.7em;
    margin: 0;
    border: 1px solid var(--edge);
    border-radius: 1em;
    background: var(--well);
    font: inherit;
    cursor: pointer;
  }

  [role='switch']::before {
    content: '';
    position: absolute;
    inset-block-start: calc(0.2em - 1px);
    inset-inline-start: 0.2em;
    inline-size: 1.3em;
    block-size: 1.3em;
    border-radius: 50%;
    background: var(--edge);
  }

  [role='switch']:checked {
    border-color: var(--accent);
    background: var(--accent);
  }

  [role='switch']:checked::before {
    inset-inline-start: calc(1.4em - 2px);
    background: var(--on-accent);
  }

  /* The keychain's items and the calls. */
  .list > li + li {
    border-block-start: 1px solid var(--line);
  }

  .item {
    padding-block: 0.7em;
  }

  .item:first-child {
    padding-block-start: 0;
  }

  .item .head {
    display: flex;
    justify-content: space-between;
    gap: 1em;
  }

  time,
  .duration {
    flex: none;
    color: var(--quiet);
    font-variant-numeric: tabular-nums;
  }

  summary {
    display: grid;
    grid-template-columns: auto 1fr auto 5em;
    align-items: baseline;
    gap: 0 0.6em;
    padding: 0.45em 0.25em;
    border-radius: 0.35em;
    list-style: none;
    cursor: pointer;
  }

  summary::-webkit-details-marker {
    display: none;
  }

  summary::before {
    content: '';
    inline-size: 0.35em;
    block-size: 0.35em;
    border: solid var(--edge);
    border-width: 1.5px 1.5px 0 0;
    rotate: 45deg;
    translate: 0 -0.15em;
  }

  [dir='rtl'] summary::before {
    rotate: -135deg;
  }

  [open] > summary::before {
    rotate: 135deg !important;
  }

  summary:hover {
    background: var(--well);
  }

  summary:focus-visible {
    outline-offset: -2px;
  }

  .duration {
    text-align: end;
  }

  .outcome {
    font-weight: 600;
  }

  .message {
    grid-column: 2 / -1;
    overflow-wrap: anywhere;
  }

  .resolved {
    color: var(--good);
  }

  .rejected {
    color: var(--bad);
  }

  .pending,
  .unfinished {
    color: var(--warn);
  }

  details dl {
    display: grid;
    gap: 0.25em;
    padding: 0.25em 0.25em 0.75em;
  }

  dt {
    margin-block-start: 0.35em;
    color: var(--quiet);
  }

  pre {
    padding: 0.5em 0.6em;
    border-radius: 0.35em;
    background: var(--well);
    font-family: var(--mono);
    font-size: 0.92em;
    text-align: left;
    direction: ltr;
    white-space: pre-wrap;
    overflow-wrap: anywhere;
  }

  /* Scrolled to its end, and staying there, unless a person scrolls it. */
  .view:has(.lines) {
    display: flex;
    flex-direction: column-reverse;
  }

  .view:has(.lines) > div {
    margin-block-end: auto;
  }

  .lines {
    font-family: var(--mono);
    font-size: 0.92em;
  }

  .lines li {
    padding-block: 0.2em;
    text-align: left;
    direction: ltr;
    white-space: pre-wrap;
    overflow-wrap: anywhere;
  }

  .empty {
    padding-block: 2em;
    color: var(--quiet);
    text-align: center;
    text-wrap: balance;
  }

  /* What became of a prompt. */
  .notice {
    position: fixed;
    inset-block-end: 24px;
    inset-inline: 0;
    inline-size: fit-content;
    max-inline-size: min(30em, 100vw - 24px);
    margin-inline: auto;
    padding: 0.6em 1.1em;
    border-radius: 0.7em;
    background: var(--tar);
    box-shadow:
      0 0 0 1px #fff5,
      0 2px 12px #0005;
    color: #fff3d6;
    text-align: center;
    pointer-events: none;
  }

  /* Leaves the drawer's buttons in sight. */
  .drawer:not([hidden]) ~ .notice {
    inset-block-end: 6em;
  }

  /* Unseen and not gone: a screen reader hears only of a region that was there before its words. */
  .notice:empty {
    opacity: 0;
  }

  /* The biometric sheet. */
  .sheet {
    inline-size: min(23em, 100vw - 24px);
    max-block-size: calc(100vh - 24px);
    margin: auto;
    padding: 0;
    border: 1px solid var(--line);
    border-radius: 1.2em;
    background: var(--paper);
    box-shadow: var(--shade);
    color: inherit;
    overflow: hidden auto;
    overscroll-behavior: contain;
  }

  .sheet::backdrop {
    background: #14110b8c;
  }

  .sheet > div {
    display: grid;
    gap: 0.65em;
    padding: 1.5em 1.5em 1em;
    text-align: center;
  }

  .sheet svg {
    justify-self: center;
    inline-size: 4.75em;
    block-size: 4.75em;
    stroke-width: 1.25;
    color: var(--accent);
  }

  .sheet h2 {
    font-size: 1em;
  }

  .sheet .reason {
    margin-block-end: 1em;
    font-size: 1.3847em;
    font-weight: 600;
    line-height: 1.25;
    overflow-wrap: anywhere;
  }

  .sheet button {
    display: flex;
    align-items: center;
    justify-content: space-between;
    min-block-size: 2.9em;
    padding-inline: 1em 0.75em;
  }

  .sheet .link {
    justify-content: center;
    gap: 0.6em;
    min-block-size: 2.4em;
    border-color: transparent;
    color: var(--quiet);
    font-weight: 400;
  }

  kbd {
    padding: 0 0.45em;
    border: 1px solid;
    border-radius: 0.35em;
    font-family: var(--mono);
    font-size: 0.85em;
    line-height: 1.5;
  }

  @media (pointer: coarse) {
    button,
    .segments label {
      min-block-size: 44px;
    }
    kbd {
      display: none;
    }
    .sheet button {
      justify-content: center;
    }
  }

  @media (prefers-reduced-motion: no-preference) {
    .drawer,
    .notice,
    .sheet[open] {
      animation: rise 0.18s ease-out;
    }

    [role='switch']::before {
      transition: inset-inline-start 0.12s;
    }

    .sheet svg {
      animation: look 1.6s ease-in-out infinite alternate;
    }

    .notice.refused {
      animation: shake 0.36s;
    }
  }

  @keyframes rise {
    from {
      opacity: 0;
      translate: 0 8px;
    }
  }

  @keyframes look {
    from {
      opacity: 0.55;
    }
  }

  @keyframes shake {
    20%,
    60% {
      translate: -8px 0;
    }
    40%,
    80% {
      translate: 8px 0;
    }
  }

  @media (forced-colors: active) {
    .segments label:has(:checked),
    [role='switch']:checked {
      forced-color-adjust: none;
      background: Highlight;
      color: HighlightText;
    }

    [role='switch']::before,
    .dot {
      forced-color-adjust: none;
      background: ButtonText !important;
    }
  }

  @media print {
    .simulator {
      display: none;
    }
  }
`;
