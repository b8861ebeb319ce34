// The component as WebAssembly, as the npm package ships it, on a phone in memory: makes plugin calls for the programs of
// this folder.
//
// Each line on standard input is a JSON array: the name of a plugin's method and its options, or "setKey" and the person's
// nationalCode and public key (a PKCS #1 RSAPublicKey, or any other bytes, in base64). Each is answered, in order, with a
// line on standard output: {"resolve":{...}} or {"reject":{"message":"...","code":null}}, as "kavrel call" does.

import { createInterface } from 'node:readline';

import { startSimulator } from 'kavrel-crypto/simulator';

const phone = await startSimulator({ storage: 'memory', prompts: 'match' });

const { privateKey, publicKey: anyPublicKey } = await crypto.subtle.generateKey(
  { name: 'RSASSA-PKCS1-v1_5', modulusLength: 2048, publicExponent: new Uint8Array([1, 0, 1]), hash: 'SHA-256' },
  false,
  ['sign', 'verify'],
);

/** Gives the person a key whose export is `publicKey`. WebCrypto would only take the bytes of a real key. */
async function setKey({ nationalCode, publicKey }) {
  const tag = (half) => `com.solbera.app.${half}.${nationalCode}`;
  const rsaPublicKey = new Uint8Array(Buffer.from(publicKey, 'base64'));
  const item = { accessibility: 'whenUnlocked', createdAt: new Date() };
  // The keychain has no place in the simulator's interface: it is a member that only TypeScript hides.
  await phone.keychain.remove({ classes: ['privateKey'], name: tag('privatekey') });
  await phone.keychain.add([
    {
      ...item,
      class: 'privateKey',
      name: tag('privatekey'),
      secret: { privateKey, publicKey: anyPublicKey, rsaPublicKey },
    },
  ]);
  return {};
}

async function outcomeOf(method, options) {
  try {
    return { resolve: method === 'setKey' ? await setKey(options) : await phone.call(method, options) };
  } catch ({ message, code = null }) {
    return { reject: { message, code } };
  }
}

// The lines are JSON with only ASCII in them, so a line feed is all that ends one.
for await (const line of createInterface({ input: process.stdin })) {
  const outcome = await outcomeOf(...JSON.parse(line));
  if (phone.failure) throw new Error(`The component stopped, because this did not hold: ${phone.failure}`);
  process.stdout.write(`${JSON.stringify(outcome)}\n`);
}
process.exit();
