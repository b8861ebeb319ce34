import { describe, expect, test } from 'vitest';

import { registeredMethods } from '../calls.js';

import { callAnyhow, nationalCode, outcomeOf, startPhone, userInfo } from './phone.js';

const handled = registeredMethods.filter((method) => method !== 'setStyle');
const personal = handled.filter((method) => !['createCSR', 'getBiometricStatus'].includes(method));

/** Values that are not strings, of every kind. */
const notStrings = [
  undefined,
  null,
  true,
  0,
  -1.5,
  NaN,
  7n,
  Symbol('x'),
  () => 'x',
  {},
  [],
  ['x'],
  new Date(),
  new String('x'),
];

describe('a value of another type', () => {
  test.each(personal)('is not a national code for %s', async (method) => {
    const phone = await startPhone();
    for (const value of notStrings) {
      expect(await outcomeOf(callAnyhow(phone, method, { nationalCode: value }))).toBe('nationalCode required');
    }
  });

  test.each(Object.keys(userInfo))('is not accepted as the member %s of the record', async (field) => {
    const phone = await startPhone();
    for (const value of notStrings) {
      const call = phone.call('createCSR', { userInfo: { ...userInfo, [field]: value } });
      expect(await outcomeOf(call)).toBe('invalid userInfo');
    }
    expect(await phone.items()).toEqual([]);
  });

  test('is not a digest, a certificate or a record', async () => {
    const phone = await startPhone();
    for (const value of notStrings) {
      expect(await outcomeOf(callAnyhow(phone, 'signDigest', { nationalCode, digestB64: value }))).toBe(
        'invalid digestB64',
      );
      expect(await outcomeOf(callAnyhow(phone, 'storeCertificate', { nationalCode, certPem: value }))).toBe(
        'Provide certPem',
      );
      const isObject = typeof value === 'object' && value !== null && !Array.isArray(value) && !(value instanceof Date);
      const outcome = isObject ? 'invalid userInfo' : 'userInfo required';
      expect(await outcomeOf(callAnyhow(phone, 'createCSR', { userInfo: value }))).toBe(outcome);
    }
  });
});

describe('options', () => {
  test('are taken as they are at the time of the call', async () => {
    const phone = await startPhone();
    const options = { nationalCode: 'first', digestB64: '' };
    const call = phone.call('ensureKey', options);
    options.nationalCode = 'second';
    await call;
    expect(await phone.call('hasKey', { nationalCode: 'first' })).toEqual({ exists: true });
    expect(phone.log[0].options).toEqual({ nationalCode: 'first', digestB64: '' });
  });

  test('that contain themselves are refused', async () => {
    const phone = await startPhone();
    const options: Record<string, unknown> = { nationalCode };
    options.self = { options };
    await expect(callAnyhow(phone, 'hasKey', options)).rejects.toThrow(/does not contain itself/);
    expect(phone.log).toEqual([]);
  });

  test('that throw when they are read are refused with what they throw', async () => {
    const phone = await startPhone();
    const options = {
      get nationalCode(): string {
        throw new RangeError('no');
      },
    };
    await expect(phone.call('hasKey', options)).rejects.toThrow(new RangeError('no'));
  });

  test('may be nested deeper than a stack is', async () => {
    const phone = await startPhone();
    let deep: object = {};
    for (let level = 0; level < 100_000; ++level) deep = level % 2 ? [deep] : { deep };
    expect(await callAnyhow(phone, 'hasKey', { nationalCode, deep, holes: new Array(3) })).toEqual({ exists: false });
  });

  test.each([
    ['an object', { member: 1 }, {}],
    ['an array', [1], []],
  ])('have %s on the 64th level whole, and empty below', async (_, innermost, empty) => {
    const phone = await startPhone();
    const nested = (value: object, level: number) =>
      Array.from({ length: level - 1 }).reduce<object>((inside) => ({ inside }), value);
    for (const [level, arrived] of [
      [64, innermost],
      [65, empty],
    ] as const) {
      await callAnyhow(phone, 'getBiometricStatus', nested(innermost, level));
      expect(phone.log.at(-1)!.options).toEqual(nested(arrived, level));
    }
  });

  test('may have members with the names that every object has', async () => {
    const phone = await startPhone();
    const options = JSON.parse('{ "nationalCode": "1", "__proto__": { "digestB64": "" }, "toString": 1 }');
    expect(await outcomeOf(phone.call('signDigest', options))).toBe('invalid digestB64');
  });
});

describe('strings', () => {
  test.each([
    ['\u0000', '\u0000'],
    ['a\u0000b', 'a\u0000b'],
    ['\uD800', '\uFFFD'],
    ['\uDC00x', '\uFFFDx'],
    ['x\uD83D', 'x\uFFFD'],
    ['\uD83D\uD83D\uDE00', '\uFFFD😀'],
  ])('%j arrives as %j', async (sent, received) => {
    const phone = await startPhone();
    await phone.call('ensureKey', { nationalCode: sent });
    expect(await phone.call('getKeyInfo', { nationalCode: received })).toMatchObject({ alias: received });
    expect(await phone.call('createCSR', { userInfo: { ...userInfo, nationalCode: received, city: sent } })).toEqual({
      csrPem: expect.stringMatching(/^[A-Za-z0-9+/]+=*$/),
    });
  });

  test('of megabytes are taken', async () => {
    const phone = await startPhone({ prompts: 'match' });
    const digestB64 = Buffer.alloc(9_000_000, 1).toString('base64');
    await phone.call('ensureKey', { nationalCode });
    expect(await phone.call('signDigest', { nationalCode, digestB64 })).toMatchObject({ digestB64 });
    const long = 'ن'.repeat(5_000_000);
    expect(await outcomeOf(phone.call('getKeyInfo', { nationalCode: long }))).toBe('not found');
    for (const certPem of ['A'.repeat(5_000_000), 'ن'.repeat(500_000)]) {
      const call = phone.call('storeCertificate', { nationalCode, certPem });
      expect(await outcomeOf(call)).toBe('Certificate is not valid');
    }
    expect(await phone.call('hasKey', { nationalCode })).toEqual({ exists: true });
  });
});

describe('many calls', () => {
  test('ten thousand at once are all answered, in their order', async () => {
    const phone = await startPhone();
    await phone.call('ensureKey', { nationalCode: '7' });
    const order: number[] = [];
    const calls = Array.from({ length: 10_000 }, async (_, index) => {
      const answer = await phone.call('hasKey', { nationalCode: String(index % 10) });
      order.push(index);
      return answer;
    });
    expect(await Promise.all(calls)).toEqual(calls.map((_, index) => ({ exists: index % 10 === 7 })));
    expect(order).toEqual(calls.map((_, index) => index));
  });

  test('a thousand of all kinds lose none and mix none up', async () => {
    const phone = await startPhone({ prompts: 'ask' });
    const answerPrompts = () => phone.prompt?.match();
    phone.addEventListener('prompt', answerPrompts);
    const people = ['1', '2', '3'];
    const keys = new Map<string, string>();
    for (const person of people) {
      await phone.call('ensureKey', { nationalCode: person });
      const { publicKeyPem } = (await phone.call('getKeyInfo', { nationalCode: person })) as { publicKeyPem: string };
      keys.set(person, publicKeyPem);
    }
    const kinds: ((person: string, index: number) => Promise<void>)[] = [
      async (person) => expect(await phone.call('hasKey', { nationalCode: person })).toEqual({ exists: true }),
      async (person) =>
        expect(await phone.call('getKeyInfo', { nationalCode: person })).toMatchObject({
          alias: person,
          publicKeyPem: keys.get(person),
        }),
      async (person, index) => {
        const digestB64 = Buffer.from(`${person} ${index}`).toString('base64');
        expect(await phone.call('signDigest', { nationalCode: person, digestB64 })).toMatchObject({ digestB64 });
      },
      async (person) =>
        expect(await outcomeOf(phone.call('getKeyInfo', { nationalCode: `${person}?` }))).toBe('not found'),
      async () => expect(await outcomeOf(callAnyhow(phone, 'createCSR', {}))).toBe('userInfo required'),
      async (person, index) => {
        const call = phone.call('createCSR', {
          userInfo: { ...userInfo, nationalCode: person, city: `city ${index}` },
        });
        const { csrPem } = (await call) as { csrPem: string };
        expect(Buffer.from(csrPem, 'base64').includes(`city ${index}`)).toBe(true);
      },
      async () => expect(await phone.call('getCertificate', { nationalCode })).toEqual({ certPem: null }),
      async () => expect(await phone.call('getBiometricStatus')).toMatchObject({ enabled: true }),
    ];
    const calls = Array.from({ length: 1000 }, (_, index) =>
      kinds[index % kinds.length](people[index % people.length], index),
    );
    await Promise.all(calls);
    expect(new Set(phone.log.map(({ outcome }) => outcome))).toEqual(new Set(['resolved', 'rejected']));
  });

  test('of which one fails do not wait for it', async () => {
    const phone = await startPhone({ prompts: 'ask' });
    const failing = [
      callAnyhow(phone, 'hasKey', { nationalCode: 7 }),
      callAnyhow(phone, 'createCSR', { userInfo: null }),
      phone.call('signDigest', { nationalCode, digestB64: '' }),
    ].map(outcomeOf);
    const next = phone.call('hasKey', { nationalCode });
    expect(await next).toEqual({ exists: false });
    (await phone.nextPrompt()).match();
    expect(await Promise.all(failing)).toEqual(['nationalCode required', 'userInfo required', 'sign_failed']);
  });
});
