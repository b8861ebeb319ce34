import { readFile } from 'node:fs/promises';
import { describe, expect, test, vi } from 'vitest';

import { calls, methods, registeredMethods, rejectionOf } from '../calls.js';

import { callAnyhow, installed, nationalCode, outcomeOf, startPhone, startSimulator, staysPending } from './phone.js';

// eslint-disable-next-line @typescript-eslint/consistent-type-imports
type Package = typeof import('../../src/index.js');

const { DigitalSign }: Package = await import(installed('esm/index.js'));
const plugin = DigitalSign as unknown as Record<string, (options?: unknown) => Promise<unknown>>;

test('the package itself loads nothing of the simulator', async () => {
  for (const file of ['esm/index.js', 'esm/web.js', 'esm/definitions.js', 'plugin.cjs']) {
    const imported = [...(await readFile(installed(file), 'utf8')).matchAll(/(?:from |import\(|require\()'(.+?)'/g)];
    for (const [, name] of imported) expect(['@capacitor/core', './web.js', './definitions.js']).toContain(name);
  }
});

describe('the plugin object', () => {
  test.each(methods)('delivers %s to the phone', async (method) => {
    const phone = await startPhone({ prompts: 'cancel' });
    await outcomeOf(plugin[method](calls[method].options));
    expect(phone.log).toMatchObject([{ method, options: calls[method].options ?? {} }]);
  });

  test('lets its calls wait for a phone that is about to start', async () => {
    const starting = startPhone();
    expect(await DigitalSign.hasKey({ nationalCode })).toEqual({ exists: false });
    expect((await starting).log).toHaveLength(1);
  });

  test('rejects as the runtime does', async () => {
    await startPhone();
    const rejection = await rejectionOf(DigitalSign.getKeyInfo({ nationalCode }));
    const { Capacitor } = globalThis as unknown as { Capacitor: { Exception: new () => Error } };
    expect(rejection).toBeInstanceOf(Capacitor.Exception);
    expect({ ...rejection, message: rejection.message }).toEqual({ message: 'not found', errorMessage: 'not found' });
  });

  test('never settles a call of setStyle, which nobody handles', async () => {
    await startPhone();
    const call = plugin.setStyle({});
    expect(await DigitalSign.hasKey({ nationalCode })).toEqual({ exists: false });
    expect(await staysPending(call)).toBe(true);
  });

  test.each(registeredMethods)('refuses %s before a phone is started, and after it is stopped', async (method) => {
    const refused = { code: 'UNAVAILABLE', message: expect.stringMatching(/simulator/) };
    await expect(plugin[method]({ nationalCode })).rejects.toMatchObject(refused);
    const phone = await startSimulator();
    expect(await DigitalSign.hasKey({ nationalCode })).toEqual({ exists: false });
    await phone.stop();
    await expect(plugin[method]({ nationalCode })).rejects.toMatchObject(refused);
  });

  test('refuses the calls that waited for a phone that could not start', async () => {
    const starting = startSimulator({ storage: 'indexeddb' });
    const call = DigitalSign.hasKey({ nationalCode });
    await expect(starting).rejects.toThrow();
    await expect(call).rejects.toMatchObject({ code: 'UNAVAILABLE' });
  });

  test.each([
    ['storage that is not there', { storage: 'indexeddb' }, /^The simulator did not start: .+ in IndexedDB here/],
    ['an unknown option', { store: 'memory' }, /^The simulator did not start: startSimulator does not know "store"/],
  ])('rejects with the reason after a start with %s, until a start succeeds', async (_, options, message) => {
    await expect(startSimulator(options as object)).rejects.toThrow();
    for (let call = 0; call < 2; ++call) {
      await expect(DigitalSign.hasKey({ nationalCode })).rejects.toMatchObject({ code: 'UNAVAILABLE', message });
    }
    await startPhone();
    expect(await DigitalSign.hasKey({ nationalCode })).toEqual({ exists: false });
  });

  test('has its calls seen by a spy on the phone', async () => {
    const spy = vi.spyOn(await startPhone(), 'call');
    await DigitalSign.hasKey({ nationalCode });
    expect(spy).toHaveBeenCalledWith('hasKey', { nationalCode });
  });
});

describe('call', () => {
  test.each([[undefined], [null], [{}]])('takes %j as an empty object', async (options) => {
    const phone = await startPhone();
    expect(await outcomeOf(callAnyhow(phone, 'hasKey', options))).toBe('nationalCode required');
    expect(phone.log[0].options).toEqual({});
  });

  test.each([['text'], [7], [true], [7n], [Symbol('x')], [() => 7], [[{ nationalCode }]], [new Date()]])(
    'refuses options that are not an object, %s, before they reach the plugin',
    async (options) => {
      const phone = await startPhone();
      await expect(callAnyhow(phone, 'hasKey', options)).rejects.toThrow(TypeError);
      await expect(plugin.hasKey(options)).rejects.toThrow(/takes an object, and this is an? /);
      expect(phone.log).toEqual([]);
    },
  );

  test.each([['hasKeys'], [''], ['constructor'], [undefined], [{}]])('refuses the method %j', async (method) => {
    const phone = await startPhone();
    const sentence = `The plugin has no method "${method}". It has ${registeredMethods.join(', ')}.`;
    await expect(callAnyhow(phone, method)).rejects.toThrow(new TypeError(sentence));
  });

  test('rejects with the message twice, and with a code if there is one', async () => {
    const phone = await startPhone();
    await phone.set({ locked: true });
    const { message, errorMessage, code } = await rejectionOf(phone.call('ensureKey', { nationalCode })).then(
      (rejection) => rejection as unknown as Record<string, string>,
    );
    expect({ message, errorMessage, code }).toEqual({
      message: 'ensure_key_failed',
      errorMessage: 'ensure_key_failed',
      code: 'The device is locked.',
    });
  });

  test('never settles for setStyle, which the log calls unfinished', async () => {
    const phone = await startPhone();
    expect(await staysPending(callAnyhow(phone, 'setStyle', {}))).toBe(true);
    expect(phone.log).toMatchObject([{ id: 1, method: 'setStyle', outcome: 'unfinished' }]);
    expect(phone.log[0]).not.toHaveProperty('duration');
  });
});
