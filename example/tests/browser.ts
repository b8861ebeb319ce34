import type { Browser, Page } from 'playwright-core';
import type { ViteDevServer } from 'vite';
import { createServer } from 'vite';

import { launchChromium } from '../../js/chromium.mjs';

/** The example, served as for development, and a browser to open it in. */
export class Example {
  private constructor(
    private readonly url: string,
    private readonly browser: Browser,
    private readonly server?: ViteDevServer,
  ) {}

  /** Serves the example, unless the environment names one that is served already, as on a bare machine. */
  static async start(): Promise<Example> {
    if (process.env.EXAMPLE_URL) return new Example(process.env.EXAMPLE_URL, await launchChromium());
    const server = await createServer({
      root: new URL('..', import.meta.url).pathname,
      logLevel: 'error',
      server: { host: '127.0.0.1', port: 0 },
    });
    await server.listen();
    return new Example(server.resolvedUrls?.local[0] ?? '', await launchChromium(), server);
  }

  async stop(): Promise<void> {
    await this.browser.close();
    await this.server?.close();
  }

  /** Opens a page of the example: as on a machine that has never seen it, or beside `other` in one browser. */
  async open(file = '', other?: Page): Promise<Page> {
    const page = await (other?.context() ?? (await this.browser.newContext())).newPage();
    page.setDefaultTimeout(20_000);
    await page.goto(this.url + file);
    await ready(page);
    return page;
  }
}

/** Waits until the page's script has run: the last that it does is to fill in one of these. */
export async function ready(page: Page): Promise<void> {
  await page.locator('#biometrics, #prompt-count').filter({ hasText: /./ }).waitFor();
}
