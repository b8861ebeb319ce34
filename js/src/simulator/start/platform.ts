interface Page {
  Capacitor?: { getPlatform?: () => string; PluginHeaders?: object[] };
  CapacitorCustomPlatform?: { name: string; plugins: object };
}

const page = globalThis as Page;

/** Throws if the runtime was evaluated already, and has made another platform than "ios" of this page. */
export function requireNoOtherPlatform(): void {
  const present = page.Capacitor?.getPlatform?.();
  if (present === undefined || present === 'ios') return;
  throw new Error(
    `The simulator was to make "ios" the platform after @capacitor/core had made it "${present}". ` +
      "Start it with platform: 'ios', or import kavrel-crypto/simulator/ios, and only then import() the app. " +
      'If both are in one chunk, have the bundler keep their order, in Vite with strictExecutionOrder.',
  );
}

/**
 * Makes "ios" the page's platform, in the way that the runtime provides, and adds the plugin to it. Returns a function
 * that takes this back as long as the runtime was not evaluated.
 */
export function becomeIOS(): () => void {
  requireNoOtherPlatform();
  const { Capacitor, CapacitorCustomPlatform } = page;
  if (Capacitor?.getPlatform) return () => undefined; // it is "ios" already, and so it stays
  page.CapacitorCustomPlatform = { name: 'ios', plugins: { DigitalSign: {} } };
  // A header without methods: the plugin is available, and its calls go to the package's own implementation.
  page.Capacitor = { ...Capacitor, PluginHeaders: [{ name: 'DigitalSign', methods: [] }] };
  return () => {
    if (page.Capacitor?.getPlatform) return;
    restore('Capacitor', Capacitor);
    restore('CapacitorCustomPlatform', CapacitorCustomPlatform);
  };
}

function restore<Name extends keyof Page>(name: Name, value: Page[Name]): void {
  if (value === undefined) delete page[name];
  else page[name] = value;
}
