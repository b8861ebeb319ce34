import type { ConsoleMessage, Page } from 'playwright-core';
import { describe, expect, test } from 'vitest';

import { usePages } from './browser.js';
import { nationalCode } from './phone.js';

const pages = usePages();

/** Waits for the next message of the kind on the page's console. */
const told = (page: Page, kind: 'error' | 'warning'): Promise<ConsoleMessage> =>
  page.waitForEvent('console', (message) => message.type() === kind);

/** Makes a key for the person on a phone without a panel, in `page`. */
const enrol = (page: Page): Promise<void> =>
  page.evaluate(async () => {
    const phone = await helpers.start({ panel: false });
    await phone.call('ensureKey', { nationalCode: helpers.nationalCode });
  });

/** Asks the phone in `page` for a signature, and waits until its prompt is up. Nobody waits for the signature. */
const askToSign = (page: Page): Promise<void> =>
  page.evaluate(async () => {
    const { phone, nationalCode } = helpers;
    const outcome = phone.call('signDigest', { nationalCode, digestB64: '' }).catch(({ message }) => message);
    Object.assign(globalThis, { outcome });
    while (!phone.prompt) await new Promise((resolve) => phone.addEventListener('prompt', resolve, { once: true }));
  });

describe('a page with the simulator', () => {
  test('keeps the phone in IndexedDB, asks, shows the panel and warns on its console', async () => {
    const page = await pages.open();
    const warning = told(page, 'warning');
    const started = await page.evaluate(async () => {
      const { name, storage, prompts } = await helpers.start();
      return { name, storage, prompts };
    });
    expect(started).toEqual({ name: 'default', storage: 'indexeddb', prompts: 'ask' });
    expect(await page.locator('kavrel-simulator').count()).toBe(1);
    expect((await warning).text()).toMatch(/this page runs on a simulated phone, whose keys protect nothing/);
  });

  test('shows no panel if told so, and takes it away when the phone stops', async () => {
    const page = await pages.open();
    const panels = await page.evaluate(async () => {
      const count = () => document.querySelectorAll('kavrel-simulator').length;
      const withoutPanel = await helpers.start({ panel: false }).then(count);
      await helpers.phone.stop();
      const withPanel = await helpers.start().then(count);
      await helpers.phone.stop();
      return [withoutPanel, withPanel, count()];
    });
    expect(panels).toEqual([0, 1, 0]);
  });

  test('knows the person and the state of the phone after a reload', async () => {
    const page = await pages.open();
    await enrol(page);
    await page.evaluate(() => helpers.phone.set({ biometry: 'touchID' }));
    await page.reload();
    const again = await page.evaluate(async () => {
      const phone = await helpers.start({ prompts: 'match' });
      const { nationalCode } = helpers;
      const signed = await phone.call('signDigest', { nationalCode, digestB64: 'AAAA' });
      const { biometry } = await phone.state();
      return { exists: await phone.call('hasKey', { nationalCode }), signed, biometry };
    });
    expect(again).toEqual({
      exists: { exists: true },
      signed: { signatureB64: expect.stringMatching(/^[A-Za-z0-9+/]{342}==$/), algo: 'RSA_SHA256', digestB64: 'AAAA' },
      biometry: 'touchID',
    });
  });

  test('is reloaded with a prompt up, and then shows none', async () => {
    const page = await pages.open();
    await enrol(page);
    await askToSign(page);
    await page.reload();
    const after = await page.evaluate(async () => {
      const phone = await helpers.start();
      return [phone.prompt, (await phone.items()).length, await phone.state()];
    });
    expect(after).toEqual([null, 2, expect.objectContaining({ lockedOut: false, locked: false })]);
  });

  test('keeps the private key where no script can read it', async () => {
    const page = await pages.open();
    await enrol(page);
    const kept = await page.evaluate(async () => {
      const database = await new Promise<IDBDatabase>((resolve) => {
        const request = indexedDB.open('kavrel-crypto/default');
        request.onsuccess = () => resolve(request.result);
      });
      const items = await new Promise<{ secret: { privateKey?: CryptoKey } }[]>((resolve) => {
        const request = database.transaction('items').objectStore('items').getAll();
        request.onsuccess = () => resolve(request.result);
      });
      return items.map(({ secret: { privateKey } }) => privateKey && [privateKey.type, privateKey.extractable]);
    });
    expect(kept).toEqual([['private', false], undefined]);
  });

  test('finds the phone of another copy of the module, as after a hot reload', async () => {
    const page = await pages.open();
    const isSame = await page.evaluate(async () => {
      const phone = await helpers.start();
      const copy = await helpers.load<{ startSimulator: typeof helpers.start }>('/index.js?copy');
      return (await copy.startSimulator()) === phone;
    });
    expect(isSame).toBe(true);
  });
});

describe('a second start over IndexedDB', () => {
  test('with equal options resolves with the same phone, which stops when each start has been stopped', async () => {
    const page = await pages.open();
    const seen = await page.evaluate(async () => {
      const { startSimulator } = await helpers.load<{ startSimulator: typeof helpers.start }>('/index.js');
      const options = { panel: false, state: { biometry: 'touchID' as const } };
      // As React's strict mode does: it starts, cleans up and starts again, before the first start has ended.
      const first = startSimulator(options);
      const cleanUp = first.then((phone) => phone.stop());
      const second = await startSimulator({ ...options, name: 'default' });
      await cleanUp;
      const isSame = (await first) === second;
      const exists = await second.call('hasKey', { nationalCode: helpers.nationalCode });
      await second.stop();
      const after = await second.items().catch(({ code }) => code);
      const next = await startSimulator(options);
      return [isSame, exists, after, next === second, (await next.state()).biometry];
    });
    expect(seen).toEqual([true, { exists: false }, 'UNAVAILABLE', false, 'touchID']);
  });

  test('with other options is refused, and the difference is named', async () => {
    const page = await pages.open();
    const sentence = await page.evaluate(async () => {
      await helpers.start({ panel: false });
      return helpers.start({ panel: false, name: 'another' }).catch(({ message }) => message);
    });
    expect(sentence).toMatch(/other options: name is "default", and this start asks for "another"\. Stop it first/);
  });
});

test('the people and the state of a start are those of a phone that is new, and a reload changes neither', async () => {
  const page = await pages.open();
  const start = async () => {
    const phone = await helpers.start({
      panel: false,
      prompts: 'match',
      people: [{ nationalCode: helpers.nationalCode, certificate: true }],
      state: { biometry: 'touchID' },
    });
    const { publicKeyPem, certificate } = await phone.call('getKeyInfo', { nationalCode: helpers.nationalCode });
    return { publicKeyPem, certificate, biometry: (await phone.state()).biometry, count: (await phone.items()).length };
  };
  const first = await page.evaluate(start);
  expect(first).toMatchObject({ biometry: 'touchID', count: 3, certificate: expect.stringMatching(/^-----BEGIN/) });
  await page.evaluate(() => helpers.phone.set({ biometry: 'opticID', locked: true }));
  await page.reload();
  await page.evaluate(() => helpers.start({ panel: false }).then((phone) => phone.set({ locked: false })));
  await page.reload();
  expect(await page.evaluate(start)).toEqual({ ...first, biometry: 'opticID' });
});

test('a panel that cannot be shown leaves no phone behind', async () => {
  const page = await pages.open();
  const seen = await page.evaluate(async () => {
    const { attachShadow } = Element.prototype;
    Element.prototype.attachShadow = () => {
      throw new Error('no shadow');
    };
    const sentence = await helpers.start().catch(({ message }) => message);
    Element.prototype.attachShadow = attachShadow;
    return [sentence, (await helpers.start({ panel: false })).storage];
  });
  expect(seen).toEqual(['no shadow', 'indexeddb']);
});

test('a thousand calls at once over IndexedDB lose none and mix none up', async () => {
  const page = await pages.open();
  await enrol(page);
  const wrong = await page.evaluate(async () => {
    const { phone, nationalCode, userInfo } = helpers;
    phone.prompts = 'match';
    const kinds: ((index: number) => Promise<boolean>)[] = [
      async () => ((await phone.call('hasKey', { nationalCode })) as { exists: boolean }).exists,
      async (index) => !((await phone.call('hasKey', { nationalCode: `${index}` })) as { exists: boolean }).exists,
      async (index) => {
        const digestB64 = btoa(String(index).padStart(6));
        const signed = (await phone.call('signDigest', { nationalCode, digestB64 })) as { digestB64: string };
        return signed.digestB64 === digestB64;
      },
      async (index) => {
        const call = phone.call('createCSR', { userInfo: { ...userInfo, city: `city ${index}` } });
        return atob(((await call) as { csrPem: string }).csrPem).includes(`city ${index}`);
      },
      (index) =>
        phone.call('getKeyInfo', { nationalCode: `${index}` }).then(
          () => false,
          (error) => error.message === 'not found',
        ),
    ];
    const calls = Array.from({ length: 1000 }, (_, index) => kinds[index % kinds.length](index));
    return (await Promise.all(calls)).flatMap((isRight, index) => (isRight ? [] : [index]));
  });
  expect(wrong).toEqual([]);
});

describe('two pages of one origin', () => {
  test('share a phone of one name, and are told of each other’s changes', async () => {
    const [first, second] = [await pages.open(), await pages.open()];
    await second.evaluate(async () => {
      const phone = await helpers.start({ panel: false });
      const told = (type: 'items' | 'state') =>
        new Promise((resolve) => phone.addEventListener(type, resolve, { once: true }));
      Object.assign(globalThis, { told: Promise.all([told('items'), told('state')]) });
    });
    await enrol(first);
    await first.evaluate(() => helpers.phone.set({ enrolled: false }));
    const seen = await second.evaluate(async () => {
      await (globalThis as unknown as { told: Promise<void> }).told;
      const { phone, nationalCode } = helpers;
      return [await phone.call('hasKey', { nationalCode }), (await phone.items()).length, await phone.state()];
    });
    expect(seen).toEqual([{ exists: true }, 2, expect.objectContaining({ enrolled: false })]);
  });

  test.each(['locks', 'resets'])('have a prompt cancelled in the one when the other %s the phone', async (how) => {
    const [first, second] = [await pages.open(), await pages.open()];
    await enrol(first);
    await askToSign(first);
    await second.evaluate(async (how) => {
      const phone = await helpers.start({ panel: false });
      await (how === 'locks' ? phone.set({ locked: true }) : phone.reset());
    }, how);
    const outcome = await first.evaluate(() => (globalThis as unknown as { outcome: Promise<string> }).outcome);
    expect(outcome).toBe('sign_failed');
  });

  test('keep phones of two names apart', async () => {
    const [first, second] = [await pages.open(), await pages.open()];
    const itemsAfterEnrolment = async (name: string) => {
      const phone = await helpers.start({ name, panel: false });
      await phone.call('ensureKey', { nationalCode: helpers.nationalCode });
      return (await phone.items()).length;
    };
    expect(await first.evaluate(itemsAfterEnrolment, 'one')).toBe(2);
    expect(await second.evaluate(itemsAfterEnrolment, 'two')).toBe(2);
    expect(await first.evaluate(async () => (await helpers.phone.items()).length)).toBe(2);
  });

  test('do not lose the phone when one of them upgrades the database', async () => {
    const [first, second] = [await pages.open(), await pages.open()];
    await enrol(first);
    const version = await second.evaluate(
      () =>
        new Promise((resolve, reject) => {
          const request = indexedDB.open('kavrel-crypto/default', 2);
          request.onblocked = () => reject(new Error('The first page keeps its connection.'));
          request.onsuccess = () => {
            request.result.close();
            resolve(request.result.version);
          };
        }),
    );
    expect(version).toBe(2);
    expect(await first.evaluate(async () => (await helpers.phone.items()).length)).toBe(2);
  });

  test('find a new phone when one of them has deleted the database', async () => {
    const [first, second] = [await pages.open(), await pages.open()];
    await enrol(first);
    await second.evaluate(
      () =>
        new Promise((resolve, reject) => {
          const request = indexedDB.deleteDatabase('kavrel-crypto/default');
          request.onblocked = () => reject(new Error('The first page keeps its connection.'));
          request.onsuccess = resolve;
        }),
    );
    expect(await first.evaluate(() => helpers.phone.items())).toEqual([]);
  });
});

describe('IndexedDB that cannot be used', () => {
  const refusals = {
    'refuses to open': () => {
      IDBFactory.prototype.open = () => {
        throw new DOMException('The operation is insecure.', 'SecurityError');
      };
    },
    'is full': () => {
      IDBObjectStore.prototype.put = () => {
        throw new DOMException('The disk is full.', 'QuotaExceededError');
      };
    },
    'has no room for a CryptoKey': () => {
      const { put } = IDBObjectStore.prototype;
      IDBObjectStore.prototype.put = function (value, key) {
        if (value instanceof CryptoKey) throw new DOMException('It could not be cloned.', 'DataCloneError');
        return put.call(this, value, key);
      };
    },
  };

  test.each(Object.entries(refusals))('because it %s gives way to memory, with a warning', async (_, refuse) => {
    const page = await pages.open();
    await page.evaluate(refuse);
    const warning = told(page, 'warning');
    const started = await page.evaluate(async () => {
      const phone = await helpers.start({ panel: false });
      return [phone.storage, await phone.call('hasKey', { nationalCode: helpers.nationalCode })];
    });
    expect(started).toEqual(['memory', { exists: false }]);
    expect((await warning).text()).toMatch(/IndexedDB cannot be used here \(.+\), so a reload forgets the phone/);
  });

  test.each(Object.entries(refusals))('because it %s is an error if it was asked for', async (_, refuse) => {
    const page = await pages.open();
    await page.evaluate(refuse);
    const sentence = await page.evaluate(() => helpers.start({ storage: 'indexeddb' }).catch(({ message }) => message));
    expect(sentence).toMatch(/^The simulator cannot keep the phone "default" in IndexedDB here: .+ Free some room/);
  });

  test('because another page holds up its deletion gives way to memory, with a warning', async () => {
    const [first, second] = [await pages.open(), await pages.open()];
    await first.evaluate(
      () =>
        new Promise((resolve) => {
          indexedDB.open('kavrel-crypto/default', 1).onsuccess = resolve; // a connection that nobody closes
        }),
    );
    await first.evaluate(() => void indexedDB.deleteDatabase('kavrel-crypto/default'));
    const warning = told(second, 'warning');
    expect(await second.evaluate(async () => (await helpers.start({ panel: false })).storage)).toBe('memory');
    expect((await warning).text()).toMatch(/another page keeps the database from being deleted; close the other pages/);
  });

  test('later fails with the platform’s status, and is reported on the page’s console', async () => {
    const page = await pages.open('/', 'mayComplain');
    const error = told(page, 'error');
    const rejection = await page.evaluate(async () => {
      const phone = await helpers.start({ panel: false });
      IDBObjectStore.prototype.add = () => {
        throw new DOMException('The disk is full.', 'QuotaExceededError');
      };
      const call = phone.call('ensureKey', { nationalCode: helpers.nationalCode });
      const { message, code } = await call.catch((error) => error);
      return { message, code, line: phone.console.at(-1), items: await phone.items() };
    });
    const sentence = "The simulated phone's keychain cannot be used (QuotaExceededError: The disk is full.).";
    expect(rejection).toEqual({
      message: 'ensure_key_failed',
      code: sentence,
      line: expect.stringContaining('Domain=NSOSStatusErrorDomain Code=-34'),
      items: [],
    });
    expect((await error).text()).toContain(sentence);
  });

  test('is used again as soon as it can be', async () => {
    const page = await pages.open('/', 'mayComplain');
    await enrol(page);
    const answers = await page.evaluate(async () => {
      const { phone, nationalCode } = helpers;
      const { open } = IDBFactory.prototype;
      const { transaction } = IDBDatabase.prototype;
      const closed = (): never => {
        throw new DOMException('The connection is closing.', 'InvalidStateError');
      };
      IDBDatabase.prototype.transaction = closed;
      IDBFactory.prototype.open = closed;
      const during = await phone.call('hasKey', { nationalCode });
      Object.assign(IDBDatabase.prototype, { transaction });
      Object.assign(IDBFactory.prototype, { open });
      return [during, await phone.call('hasKey', { nationalCode })];
    });
    expect(answers).toEqual([{ exists: false }, { exists: true }]);
  });
});

describe('a content security policy', () => {
  test("needs no more than script-src 'self' 'wasm-unsafe-eval', also for the panel", async () => {
    const page = await pages.open('/strict');
    const result = await page.evaluate(async () => {
      const violations: string[] = [];
      addEventListener('securitypolicyviolation', ({ violatedDirective }) => violations.push(violatedDirective));
      const phone = await helpers.start({ prompts: 'match' });
      const { nationalCode, userInfo } = helpers;
      await phone.call('ensureKey', { nationalCode });
      await phone.call('createCSR', { userInfo });
      return [await phone.call('signDigest', { nationalCode, digestB64: '' }), violations];
    });
    expect(result).toEqual([expect.objectContaining({ algo: 'RSA_SHA256' }), []]);
    const panel = page.locator('kavrel-simulator');
    expect(await panel.evaluate((host) => host.shadowRoot?.adoptedStyleSheets.length)).toBe(1);
  });

  test('without wasm-unsafe-eval keeps the simulator from starting, and the error says so', async () => {
    const page = await pages.open('/closed', 'mayComplain');
    const [sentence, closed] = await page.evaluate(async () => {
      let closed = 0;
      const { close } = BroadcastChannel.prototype;
      BroadcastChannel.prototype.close = function () {
        closed += 1;
        close.call(this);
      };
      return [await helpers.start().catch(({ message }) => message), closed];
    });
    expect(closed).toBe(1);
    expect(sentence).toMatch(/WebAssembly cannot be compiled here: .+script-src has to contain 'wasm-unsafe-eval'/);
    expect(await page.locator('kavrel-simulator').count()).toBe(0);
  });
});

test('WebAssembly that fails for another reason is no matter of a policy, and the next start tries again', async () => {
  const page = await pages.open();
  const [sentence, storage] = await page.evaluate(async () => {
    const { compile } = WebAssembly;
    WebAssembly.compile = () => Promise.reject(new RangeError('out of memory'));
    const sentence = await helpers.start({ panel: false }).catch(({ message }) => message);
    WebAssembly.compile = compile;
    return [sentence, (await helpers.start({ panel: false })).storage];
  });
  expect([sentence, storage]).toEqual([
    "The simulator's WebAssembly cannot be compiled here: out of memory.",
    'indexeddb',
  ]);
});

test('a worker gets a phone in memory that cancels its prompts', async () => {
  const page = await pages.open();
  const started = await page.evaluate(
    () =>
      new Promise((resolve, reject) => {
        const worker = new Worker('/worker.js', { type: 'module' });
        worker.onmessage = ({ data }) => resolve(data);
        worker.onerror = ({ message }) => reject(new Error(message));
      }),
  );
  expect(started).toEqual(['memory', 'cancel']);
});

test('a page over HTTP from another host is refused, since it has no WebCrypto', async () => {
  const page = await pages.open();
  await pages.context.route('http://elsewhere.example/**', async (route) => {
    const { pathname } = new URL(route.request().url());
    await route.fulfill({ response: await route.fetch({ url: pages.origin + pathname }) });
  });
  await page.goto('http://elsewhere.example/');
  const sentence = await page.evaluate(() => helpers.start().catch(({ message }) => message));
  expect(sentence).toMatch(/needs WebCrypto.*localhost or over HTTPS/);
});

test('a key that a tool has copied as text is as if it were not there, and the console says what helps', async () => {
  const page = await pages.open('/', 'mayComplain');
  await enrol(page);
  await page.evaluate(async () => {
    const database = await new Promise<IDBDatabase>((resolve) => {
      const request = indexedDB.open('kavrel-crypto/default');
      request.onsuccess = () => resolve(request.result);
    });
    const transaction = database.transaction('items', 'readwrite');
    transaction.objectStore('items').openCursor().onsuccess = ({ target }) => {
      const cursor = (target as IDBRequest<IDBCursorWithValue>).result;
      if (!cursor) return;
      const { secret } = cursor.value;
      cursor.update({ ...cursor.value, secret: { ...secret, ...JSON.parse(JSON.stringify(secret)) } });
      cursor.continue();
    };
    await new Promise((resolve) => (transaction.oncomplete = resolve));
    database.close();
  });
  const error = told(page, 'error');
  const seen = await page.evaluate(async () => {
    const { phone, nationalCode } = helpers;
    phone.prompts = 'match';
    const messageOf = (call: Promise<unknown>) => call.catch(({ message }) => message);
    const before = [
      await phone.call('hasKey', { nationalCode }),
      await messageOf(phone.call('getKeyInfo', { nationalCode })),
      await messageOf(phone.call('signDigest', { nationalCode, digestB64: '' })),
      await phone.items(),
    ];
    await phone.call('ensureKey', { nationalCode });
    return [...before, (await phone.items()).length, await phone.call('hasKey', { nationalCode })];
  });
  expect(seen).toEqual([{ exists: false }, 'not found', 'sign_failed', [], 2, { exists: true }]);
  expect((await error).text()).toMatch(
    new RegExp(
      `the item "com\\.solbera\\.app\\.privatekey\\.${nationalCode}" is damaged: .+ Reset the phone with phone\\.reset\\(\\)`,
    ),
  );
});
