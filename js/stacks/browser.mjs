import { chmod, mkdir, readFile, symlink, writeFile } from 'node:fs/promises';
import { join } from 'node:path';

import { args, executablePath } from '../chromium.mjs';

/** Makes a folder where test runners find Debian's Chromium, and returns the variables that tell them so. */
export async function offerChromium(folder) {
  const chromium = join(folder, 'chromium');
  await mkdir(folder);
  await writeFile(chromium, `#!/bin/sh\nexec ${executablePath} ${args.join(' ')} "$@"\n`);
  await chmod(chromium, 0o755);
  return { CHROME_BIN: chromium, PLAYWRIGHT_BROWSERS_PATH: folder };
}

/** Puts Chromium where the Playwright of an app looks for the one that "npx playwright install" would download. */
export async function installForPlaywright(folder, app) {
  const list = await readFile(join(app, 'node_modules/playwright-core/browsers.json'), 'utf8').catch(() => null);
  if (!list) return;
  const { revision } = JSON.parse(list).browsers.find(({ name }) => name === 'chromium-headless-shell');
  const place = join(folder, `chromium_headless_shell-${revision}/chrome-headless-shell-linux64`);
  await mkdir(place, { recursive: true });
  await symlink(join(folder, 'chromium'), join(place, 'chrome-headless-shell')).catch(() => {});
}
