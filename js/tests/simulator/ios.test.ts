import { describe, expect, test } from 'vitest';

import type { Bundle } from '../page.js';

import { usePages } from './browser.js';
import type { Simulator } from './phone.js';

/** What the tests see of simulator/ios and of the runtime. */
interface IOS {
  phone: Promise<Simulator | null>;
}

interface Core {
  Capacitor: { getPlatform(): string; isNativePlatform(): boolean; isPluginAvailable(name: string): boolean };
}

type Page = typeof globalThis & {
  kavrelSimulator?: IOS['phone'];
  Capacitor?: object;
  CapacitorCustomPlatform?: object;
  webkit?: object;
  androidBridge?: object;
};

const pages = usePages();

describe('importing kavrel-crypto/simulator/ios before the runtime', () => {
  test('makes the page an iOS app with the plugin, which the simulator answers', async () => {
    const page = await pages.open();
    const app = await page.evaluate(async () => {
      const { phone } = await helpers.load<IOS>('/ios.js');
      const { Capacitor } = await helpers.load<Core>('/core.js');
      const { DigitalSign } = await helpers.load<Bundle>('/plugin.js');
      const { nationalCode } = helpers;
      await DigitalSign.ensureKey({ nationalCode });
      return {
        platform: [Capacitor.getPlatform(), Capacitor.isNativePlatform()],
        available: ['DigitalSign', 'Camera'].map((name) => Capacitor.isPluginAvailable(name)),
        exists: await DigitalSign.hasKey({ nationalCode }),
        calls: (await phone)?.log.map(({ method }) => method),
      };
    });
    expect(app).toEqual({
      platform: ['ios', true],
      available: [true, false],
      exists: { exists: true },
      calls: ['ensureKey', 'hasKey'],
    });
  });

  test('starts the simulator with its defaults, and leaves it where a browser driver finds it', async () => {
    const page = await pages.open();
    const found = await page.evaluate(async () => {
      const { phone } = await helpers.load<IOS>('/ios.js');
      const isLeft = (globalThis as Page).kavrelSimulator === phone;
      const { name, storage, prompts } = (await phone) as Simulator;
      return { isLeft, name, storage, prompts };
    });
    expect(found).toEqual({ isLeft: true, name: 'default', storage: 'indexeddb', prompts: 'ask' });
    expect(await page.locator('kavrel-simulator').count()).toBe(1);
  });

  test('twice starts one phone, as a hot reload does', async () => {
    const page = await pages.open();
    const isSame = await page.evaluate(async () => {
      const { phone } = await helpers.load<IOS>('/ios.js');
      await helpers.load('/core.js');
      return (await helpers.load<IOS>('/ios.js?copy')).phone === phone;
    });
    expect(isSame).toBe(true);
  });
});

test('a start that fails leaves the page as it was, and the next one finds it so', async () => {
  const page = await pages.open();
  const seen = await page.evaluate(async () => {
    const { compile } = WebAssembly;
    WebAssembly.compile = () => Promise.reject(new RangeError('out of memory'));
    const refused = await helpers.start({ platform: 'ios', panel: false }).catch(({ message }) => message);
    WebAssembly.compile = compile;
    const left = ['Capacitor' in globalThis, 'CapacitorCustomPlatform' in globalThis];
    await helpers.start({ panel: false });
    const { Capacitor } = await helpers.load<Core>('/core.js');
    return [refused, left, Capacitor.getPlatform()];
  });
  expect(seen).toEqual([expect.stringMatching(/out of memory/), [false, false], 'web']);
});

test('a phone whose page is "ios" can be stopped and started again', async () => {
  const page = await pages.open();
  const seen = await page.evaluate(async () => {
    const phone = await helpers.start({ platform: 'ios', panel: false });
    const { Capacitor } = await helpers.load<Core>('/core.js');
    await phone.stop();
    const again = await helpers.start({ platform: 'ios', panel: false });
    return [again === phone, await again.items(), (globalThis as Page).Capacitor === Capacitor];
  });
  expect(seen).toEqual([false, [], true]);
});

test('importing it after the runtime throws, and says to import it before', async () => {
  const page = await pages.open();
  const sentence = await page.evaluate(async () => {
    await helpers.load('/core.js');
    return helpers.load('/ios.js').catch(({ message }) => message);
  });
  expect(sentence).toMatch(
    /make "ios" the platform after @capacitor\/core had made it "web"\..+ only then import\(\) the app/,
  );
});

test.each(['webkit', 'androidBridge'] as const)('importing it on a phone, which has %s, does nothing', async (name) => {
  const page = await pages.open();
  const after = await page.evaluate(async (name) => {
    (globalThis as Page)[name] = { messageHandlers: { bridge: {} } };
    const { phone } = await helpers.load<IOS>('/ios.js');
    return [await phone, 'Capacitor' in globalThis, 'CapacitorCustomPlatform' in globalThis];
  }, name);
  expect(after).toEqual([null, false, false]);
  expect(await page.locator('kavrel-simulator').count()).toBe(0);
});

test('importing it in a worker does nothing', async () => {
  const page = await pages.open();
  const after = await page.evaluate(
    () =>
      new Promise((resolve, reject) => {
        const worker = new Worker('/ios-worker.js', { type: 'module' });
        worker.onmessage = ({ data }) => resolve(data);
        worker.onerror = ({ message }) => reject(new Error(message));
      }),
  );
  expect(after).toEqual([null, 'undefined']);
});
