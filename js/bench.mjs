// Prints what the simulator of the built package takes in headless Chromium, as medians in milliseconds, beside the limits
// that it is meant to keep.

import { readFile } from 'node:fs/promises';
import { createServer } from 'node:http';
import { resolve } from 'node:path';

import { launchChromium } from './chromium.mjs';

const starts = 15;
const rounds = 300;

const median = (values) => values.toSorted((a, b) => a - b)[Math.floor(values.length / 2)];

/** Serves the simulator, and an empty page that is isolated, because the browser's clock is coarse in others. */
async function serve() {
  const server = createServer(async ({ url }, response) => {
    const isScript = url.endsWith('.js');
    response.writeHead(200, {
      'Content-Type': isScript ? 'text/javascript' : 'text/html',
      'Cross-Origin-Opener-Policy': 'same-origin',
      'Cross-Origin-Embedder-Policy': 'require-corp',
    });
    const folder = resolve(import.meta.dirname, 'dist/simulator');
    response.end(isScript ? await readFile(folder + url) : '<!doctype html><title>App</title>');
  });
  await new Promise((listening) => server.listen(0, '127.0.0.1', listening));
  return { address: `http://127.0.0.1:${server.address().port}/`, close: () => server.close() };
}

/** Starts the simulator in the page. Returns the time from the import until it is ready. */
async function timeStart() {
  const begin = performance.now();
  const { startSimulator } = await import('/index.js');
  globalThis.phone = await startSimulator({ storage: 'indexeddb', prompts: 'match' });
  return performance.now() - begin;
}

/** Opens a page in a profile that has seen nothing, `starts` times, and reloads each. */
async function measureStarts(browser, address) {
  const times = { first: [], again: [] };
  for (let start = 0; start < starts; ++start) {
    const context = await browser.newContext();
    const page = await context.newPage();
    await page.goto(address);
    times.first.push(await page.evaluate(timeStart));
    await page.reload();
    times.again.push(await page.evaluate(timeStart));
    await context.close();
  }
  return times;
}

/**
 * Times, in the page and in turn, each call and the least that a page would do itself for it: to read the key from the
 * same database, to sign, and to verify the signature as "createCSR" does. Whatever else the machine does falls on all of
 * them alike.
 */
async function timeCalls(rounds) {
  const nationalCode = '0012345678';
  const members = ['identificationId', 'name', 'lastName', 'enName', 'enLastName', 'postalCode', 'phoneNumber',
    'birthCertificateId', 'birthDate', 'city', 'provinceName', 'gender', 'citizenship']; // prettier-ignore
  const userInfo = { nationalCode, ...Object.fromEntries(members.map((member) => [member, 'Shiraz'])) };
  const { phone } = globalThis;
  await phone.call('ensureKey', { nationalCode });

  const done = (request) => new Promise((resolve) => (request.onsuccess = () => resolve(request.result)));
  const database = await done(indexedDB.open('kavrel-crypto/default'));
  const items = () => database.transaction(['items', 'state'], 'readonly').objectStore('items');
  const tag = `com.solbera.app.privatekey.${nationalCode}`;
  const readKey = () => done(items().index('name').getAll(tag));
  const [{ secret }] = await readKey();
  const scheme = 'RSASSA-PKCS1-v1_5';
  const data = new Uint8Array(32);
  const signature = await crypto.subtle.sign(scheme, secret.privateKey, data);

  const work = {
    readKey,
    sign: () => crypto.subtle.sign(scheme, secret.privateKey, data),
    verify: () => crypto.subtle.verify(scheme, secret.publicKey, signature, data),
    hasKey: () => phone.call('hasKey', { nationalCode }),
    createCSR: () => phone.call('createCSR', { userInfo }),
    signDigest: () => phone.call('signDigest', { nationalCode, digestB64: 'AAAA' }),
  };
  const times = Object.fromEntries(Object.keys(work).map((name) => [name, []]));
  for (let round = 0; round < rounds; ++round) {
    for (const [name, act] of Object.entries(work)) {
      const begin = performance.now();
      await act();
      times[name].push(performance.now() - begin);
    }
  }
  return times;
}

async function measureCalls(browser, address) {
  const page = await browser.newPage();
  await page.goto(address);
  await page.evaluate(timeStart);
  await page.evaluate(timeCalls, 50); // warms up
  return page.evaluate(timeCalls, rounds);
}

const line = (what, time, limit) =>
  console.log(`${what.padEnd(44)}${time.toFixed(2).padStart(8)}${limit.padStart(16)}`);

const server = await serve();
const browser = await launchChromium();
try {
  const { first, again } = await measureStarts(browser, server.address);
  line('from the import until ready, the first time', median(first), 'at most 200');
  line('from the import until ready, after a reload', median(again), 'at most 200');

  const { readKey, sign, verify, hasKey, createCSR, signDigest } = await measureCalls(browser, server.address);
  line('IndexedDB alone: one key is read', median(readKey), '');
  line('WebCrypto alone: one signature', median(sign), '');
  line('WebCrypto alone: one verification', median(verify), '');
  const beyond = (times, work) => median(times.map((time, round) => time - work(round)));
  line('hasKey', median(hasKey), 'at most 8');
  line('createCSR', median(createCSR), '');
  line(
    '  beyond WebCrypto',
    beyond(createCSR, (round) => sign[round] + verify[round]),
    'at most 8',
  );
  line('signDigest', median(signDigest), '');
  line(
    '  beyond WebCrypto',
    beyond(signDigest, (round) => sign[round]),
    'at most 8',
  );
} finally {
  await browser.close();
  server.close();
}
