import type { Browser } from 'playwright-core';

/** Starts Debian's Chromium, which talks to nobody but the tests. The caller closes it. */
export function launchChromium(): Promise<Browser>;
