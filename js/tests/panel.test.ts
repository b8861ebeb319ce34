import type { Page } from 'playwright-core';
import { describe, expect, test } from 'vitest';

import { mountPanel } from '../src/simulator/panel/index.js';

import type { PageOptions } from './panel/page.js';
import { usePanelPages, violations } from './panel/page.js';
import { ask, asked, openDrawer, read, states } from './panel/states.js';

const open = usePanelPages();

/** Brings the page into each state in turn and returns, under its name, what `find` finds there. */
async function inEveryState(options: PageOptions, find: (page: Page) => Promise<string[]>) {
  const page = await open(options);
  const found: Record<string, string[]> = {};
  for (const [name, bring] of Object.entries(states)) {
    await page.evaluate(() => window.renew());
    await bring(page);
    const here = await find(page);
    if (here.length) found[name] = here;
  }
  await page.close();
  return found;
}

test('the panel can be loaded where there is no document', () => {
  expect(typeof document).toBe('undefined');
  expect(mountPanel).toBeTypeOf('function');
});

describe('in every state', () => {
  test.each(['light', 'dark'] as const)('axe-core finds nothing wrong in the %s scheme', async (colorScheme) => {
    expect(await inEveryState({ colorScheme }, violations)).toEqual({});
  });

  test.each(['ltr', 'rtl'] as const)('nothing has to be scrolled sideways at 360 px, %s', async (dir) => {
    /** The elements that are wider within than without, and those that stick out of the page. */
    const wide = (page: Page) =>
      page.evaluate(() => {
        const ours = document.querySelector('kavrel-simulator')!.shadowRoot!.querySelectorAll<HTMLElement>('aside *');
        return [document.documentElement, ...ours]
          .filter((node) => node.checkVisibility() && !(node instanceof SVGElement))
          .filter((node) => {
            const { left, right } = node.getBoundingClientRect();
            const isInline = getComputedStyle(node).display === 'inline';
            return left < 0 || right > 360 || (!isInline && node.scrollWidth > node.clientWidth + 1);
          })
          .map((node) => `${node.tagName} ${node.className} ${node.scrollWidth} ${node.clientWidth}`);
      });
    expect(await inEveryState({ dir, viewport: { width: 360, height: 640 } }, wide)).toEqual({});
  });

  test('nothing moves for a reader who wants no motion, and something does for others', async () => {
    const moving = (page: Page) =>
      page.evaluate(() => {
        const { shadowRoot } = document.querySelector('kavrel-simulator')!;
        return shadowRoot!.getAnimations().map((animation) => animation.constructor.name);
      });
    expect(await inEveryState({ reducedMotion: 'reduce' }, moving)).toEqual({});
    expect(await inEveryState({ reducedMotion: 'no-preference' }, moving)).toHaveProperty('sheet');
  });
});

/** Where everything of the panel is, and how it looks. */
const look = (page: Page) =>
  page.evaluate(() => {
    const all = document.querySelector('kavrel-simulator')!.shadowRoot!.querySelectorAll('*');
    return [...all].map((node) => {
      const { x, y, width, height } = node.getBoundingClientRect();
      const { color, backgroundColor, font, display, opacity, direction } = getComputedStyle(node);
      return [node.tagName, x, y, width, height, color, backgroundColor, font, display, opacity, direction].join(' ');
    });
  });

const hostile = {
  'resets and hides everything': `
    :root * { all: unset !important; display: none !important; font-size: 99px !important; color: red !important }`,
  'is after the panel in particular': `
    kavrel-simulator, kavrel-simulator * { display: none !important; visibility: hidden !important; opacity: 0 !important }
    :not(:defined), :root > :last-child { position: absolute; left: -9999px; pointer-events: none }`,
  'turns, shrinks and dims the page': `
    html { font-size: 99px; transform: rotate(9deg) scale(0.5); filter: grayscale(1); line-height: 3; cursor: wait }
    body { display: none; z-index: 2147483647 }
    * { letter-spacing: 1em; text-transform: uppercase; --paper: red; --ink: red }`,
};

describe('a style sheet of the app', () => {
  test.each(Object.entries(hostile))('that %s does not touch the panel', async (_, css) => {
    const looks = [];
    for (const sheet of ['', css]) {
      const page = await open({ css: sheet });
      looks.push(await look(page));
      await openDrawer(page);
      looks.push(await look(page));
      await ask(page);
      looks.push(await look(page));
      await page.keyboard.press('m');
      expect(await asked(page)).toEqual(['match']);
      await page.close();
    }
    expect(looks.slice(3)).toEqual(looks.slice(0, 3));
  });
});

describe('the app', () => {
  test('finds nothing of the panel but its tab, until it is opened or asked, and afterwards', async () => {
    const page = await open();
    const parts = () =>
      page
        .locator('kavrel-simulator')
        .evaluate((host) => [...host.shadowRoot!.querySelectorAll('*')].map(({ localName }) => localName));
    const tab = ['aside', 'button', 'span', 'b'];
    expect(await parts()).toEqual(tab);
    expect(await page.getByLabel('Phone').count()).toBe(0);
    expect(await page.getByText(/phone|face|cancel/i).count()).toBe(0);

    await openDrawer(page);
    await page.getByRole('switch', { name: 'Locked out' }).click();
    await page.getByRole('status').waitFor();
    await page.keyboard.press('Escape');
    await ask(page);
    await page.keyboard.press('m');
    await page.getByText('Recognised').waitFor();
    await page.clock.runFor(10_000);
    expect(await parts()).toEqual(tab);
    await page.close();
  });

  test('looks the same with the panel and without', async () => {
    const page = await open({ css: ':root { display: flex; flex-direction: column; gap: 40px }' });
    const app = () =>
      page.evaluate(() =>
        [...document.querySelectorAll(':root, :root > :not(kavrel-simulator), body *')].map((node) => {
          const { x, y, width, height } = node.getBoundingClientRect();
          const style = getComputedStyle(node);
          return [node.tagName, x, y, width, height, ...[...style].map((name) => style.getPropertyValue(name))].join(
            ' ',
          );
        }),
      );
    const withPanel = await app();
    await openDrawer(page);
    const withDrawer = await app();
    await page.evaluate(() => window.takeAway());
    expect(await app()).toEqual(withPanel);
    expect(withDrawer).toEqual(withPanel);
    expect(await page.evaluate(() => document.adoptedStyleSheets.length + document.styleSheets.length)).toBe(1);
    await page.close();
  });

  test('hears nothing of what is done in the panel', async () => {
    const page = await open();
    await page.evaluate(() => {
      const heard = ((window as unknown as { heard: string[] }).heard = [] as string[]);
      for (const type of ['click', 'pointerdown', 'mousedown', 'keydown', 'keyup', 'focusin', 'input', 'copy']) {
        document.addEventListener(type, () => heard.push(type));
      }
    });
    await openDrawer(page);
    await page.keyboard.press('ArrowRight');
    await page.keyboard.press('ArrowLeft');
    await page.getByRole('switch', { name: 'Enrolled' }).click();
    await ask(page);
    await page.keyboard.press('n');
    expect(await asked(page)).toEqual(['set {"enrolled":false}', 'noMatch']);
    expect(await page.evaluate(() => (window as unknown as { heard: string[] }).heard)).toEqual([]);
    await page.close();
  });

  const isModal = (page: Page) =>
    page.getByRole('alertdialog').evaluate((sheet) => sheet.isConnected && sheet.matches(':modal'));

  test.each<[string, () => void]>([
    [
      'removed',
      () => {
        document.body.remove();
        document.querySelector('kavrel-simulator')!.remove();
      },
    ],
    ['removed with the whole page', () => document.documentElement.remove()],
    [
      'written over',
      () => {
        document.open();
        document.write('<!doctype html><title>App</title><h1>Another page</h1>');
        document.close();
      },
    ],
  ])('cannot take the badge off: %s, the panel comes back and works', async (_, removePanel) => {
    const page = await open();
    await ask(page);
    await page.evaluate(removePanel);
    await page.evaluate(() => document.documentElement ?? document.append(document.createElement('html')));
    await page.getByRole('alertdialog').waitFor();
    expect(await isModal(page)).toBe(true);
    await read(page);
    await page.keyboard.press('m');
    expect(await asked(page)).toEqual(['match']);
    await openDrawer(page, 'Calls');
    await page.evaluate(() => window.takeAway());
    expect(await page.locator('kavrel-simulator').count()).toBe(0);
    await page.close();
  });

  test('sees a prompt that came up while the panel was off the page as soon as it is back', async () => {
    const page = await open();
    await ask(page, 'First');
    await page.evaluate(() => {
      const { documentElement } = document;
      documentElement.remove();
      window.phone.prompt!.match();
      setTimeout(() => void window.phone.ask('Second'), 10);
      setTimeout(() => document.append(documentElement), 100);
    });
    await page.getByRole('alertdialog', { description: 'Second' }).waitFor();
    expect(await isModal(page)).toBe(true);
    expect(await asked(page)).toEqual(['match']);
    await page.close();
  });

  test('may move the panel, whose sheet stays modal', async () => {
    const page = await open();
    await ask(page);
    await page.evaluate(() => document.body.append(document.querySelector('kavrel-simulator')!));
    await read(page);
    expect(await isModal(page)).toBe(true);
    expect(await page.locator('kavrel-simulator').count()).toBe(1);
    await page.keyboard.press('c');
    expect(await asked(page)).toEqual(['cancel']);
    await page.close();
  });

  test('is rid of the panel once it was taken away', async () => {
    const page = await open();
    await ask(page);
    await page.evaluate(() => window.takeAway());
    await page.keyboard.press('m');
    await page.evaluate(async () => {
      window.phone.script({ failure: 'none' }, 'stopped');
      await window.phone.set({ locked: true });
      await new Promise((resolve) => setTimeout(resolve, 50));
    });
    expect(await page.evaluate(() => document.querySelectorAll('kavrel-simulator').length)).toBe(0);
    expect(await asked(page)).toEqual(['set {"locked":true}']);
    await page.close();
  });

  test('turns the panel with it, whichever element says the direction', async () => {
    const page = await open();
    const side = async () => {
      const { x } = (await page.getByRole('button', { name: 'Simulator' }).boundingBox())!;
      return x < 500 ? 'left' : 'right';
    };
    expect(await side()).toBe('right');
    await page.evaluate(() => (document.body.dir = 'rtl'));
    expect(await side()).toBe('left');
    await page.evaluate(() => document.body.removeAttribute('dir'));
    expect(await side()).toBe('right');
    await page.evaluate(() => (document.documentElement.dir = 'rtl'));
    expect(await side()).toBe('left');
    await page.evaluate(() => {
      document.body = document.createElement('body');
      document.body.dir = 'ltr';
    });
    expect(await side()).toBe('right');
    await page.evaluate(() => (document.body.dir = 'rtl'));
    expect(await side()).toBe('left');
    await page.close();
  });
});
