import { chromium } from 'playwright-core';

/** Where Debian's Chromium is. */
export const executablePath = '/usr/bin/chromium';

/** What it is started with, so that it runs as root and talks to nobody but the tests. */
export const args = [
  '--no-sandbox',
  '--disable-gpu',
  '--disable-quic',
  '--no-first-run',
  '--disable-background-networking',
  '--disable-component-update',
  '--disable-sync',
];

export const launchChromium = () => chromium.launch({ executablePath, args });
