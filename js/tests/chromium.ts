import type { Browser } from 'playwright-core';
import { chromium } from 'playwright-core';

/** Starts Debian's Chromium, which talks to nobody but the tests. The caller closes it. */
export function launchChromium(): Promise<Browser> {
  return chromium.launch({
    executablePath: '/usr/bin/chromium',
    args: [
      '--no-sandbox',
      '--disable-gpu',
      '--disable-quic',
      '--no-first-run',
      '--disable-background-networking',
      '--disable-component-update',
      '--disable-sync',
    ],
  });
}
