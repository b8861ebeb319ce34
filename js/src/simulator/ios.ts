import type { Simulator } from './index.js';
import { startSimulator } from './index.js';
import { isPhone } from './page.js';

interface Page {
  Capacitor?: { getPlatform?: unknown; PluginHeaders?: object[] };
  CapacitorCustomPlatform?: { name: string; plugins: object };
  kavrelSimulator?: Promise<Simulator | null>;
}

const page = globalThis as Page;

/** Makes "ios" the page's platform, in the way that the runtime provides, and adds the plugin to it. */
function becomeIOS(): void {
  if (page.Capacitor?.getPlatform) {
    throw new Error(
      'kavrel-crypto/simulator/ios was loaded after @capacitor/core, which has made this page\'s platform "web". ' +
        'Import it before the app: await import("kavrel-crypto/simulator/ios"), then await import() of the app. ' +
        'If both are in one chunk, have the bundler keep their order, in Vite with strictExecutionOrder.',
    );
  }
  page.CapacitorCustomPlatform = { name: 'ios', plugins: { DigitalSign: {} } };
  // A header without methods: the plugin is available, and its calls go to the package's own implementation.
  page.Capacitor = { ...page.Capacitor, PluginHeaders: [{ name: 'DigitalSign', methods: [] }] };
}

function begin(): Promise<Simulator | null> {
  if (isPhone() || typeof document === 'undefined') return Promise.resolve(null);
  becomeIOS();
  return startSimulator();
}

page.kavrelSimulator ??= begin();

/** The simulator of this page, or null on a phone, on a server and in a worker, where this module does nothing. */
export const phone: Promise<Simulator | null> = page.kavrelSimulator;
