// The panel's one style sheet. It is adopted by the shadow root, which a content security policy allows where it forbids
// styles in the markup. Lengths are in em over the reader's own font size, since the app sets that of its root element.

import base from './styles/base.css?inline';
import drawer from './styles/drawer.css?inline';
import items from './styles/items.css?inline';
import notice from './styles/notice.css?inline';
import preferences from './styles/preferences.css?inline';
import sheet from './styles/sheet.css?inline';
import switches from './styles/switches.css?inline';

/** In the order in which one part overrides another. */
export const styles = [base, drawer, switches, items, notice, sheet, preferences].join('\n');
