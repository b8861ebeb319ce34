import type { SignDigestResult } from 'kavrel-crypto';

import type { Check } from '../check.js';
import type { Context } from '../context.js';
import { fromBase64 } from '../encoding.js';
import { holds, rejected, resultOf, same } from '../outcome.js';
import { identity, people } from '../people.js';
import type { PromptName } from '../prompts.js';
import { digestB64 } from '../prompts.js';
import { isSignature, readRequest } from '../request.js';

const { enrolled } = people;

const signature = async ({ prompted }: Context, prompt: PromptName): Promise<SignDigestResult> =>
  resultOf<SignDigestResult>(await prompted(prompt));

/** Whether the signature behind `prompt` is the enrolled person's, of `data`. */
async function verifies(context: Context, prompt: PromptName, data: Uint8Array<ArrayBuffer>): Promise<boolean> {
  const { signatureB64 } = await signature(context, prompt);
  const { csrPem } = resultOf(await context.call('createCSR', { userInfo: identity(enrolled) }));
  const { subjectPKInfo } = readRequest(String(csrPem)).certificationRequestInfo;
  return isSignature(subjectPKInfo, fromBase64(signatureB64), data);
}

export const signingChecks: Check[] = [
  {
    name: 'signDigest: rejects "invalid digestB64" unless that is standard base64, and shows no prompt',
    run: async ({ call }) => {
      const refused = [undefined, null, 1, true, [], {}, 'A', 'AA', 'AAA', 'AA=', 'A===', 'AA==AA==', 'A-_A', 'AAA=\n'];
      for (const value of [...refused, ' AAAA', 'AA AA', 'AAAA\r\nAAAA', 'ＡAAA', '====']) {
        const options = { nationalCode: enrolled, digestB64: value };
        same(await call('signDigest', options), rejected('invalid digestB64'), JSON.stringify(options));
      }
    },
  },
  {
    name: 'signDigest: resolves with exactly { signatureB64, algo: "RSA_SHA256", digestB64 }',
    run: async (context) => {
      const { signatureB64, ...rest } = await signature(context, 'sign');
      same(rest, { algo: 'RSA_SHA256', digestB64 }, 'The result besides the signature');
      same(typeof signatureB64, 'string', 'The type of signatureB64');
    },
  },
  {
    name: 'signDigest: returns 256 bytes as one line of base64',
    run: async (context) => {
      const { signatureB64 } = await signature(context, 'sign');
      same(signatureB64.length, 344, 'The length of signatureB64');
      same(fromBase64(signatureB64).length, 256, 'The bytes of the signature');
    },
  },
  {
    name: 'signDigest: hashes the given bytes once more, so that a signature is over the digest and not the data',
    run: async (context) => {
      holds(await verifies(context, 'sign', fromBase64(digestB64)), 'It is not a signature of the given bytes.');
    },
  },
  {
    name: 'signDigest: returns the same signature for the same bytes',
    run: async (context) => {
      const first = await signature(context, 'sign');
      same((await signature(context, 'again')).signatureB64, first.signatureB64, 'The second signature');
    },
  },
  {
    name: 'signDigest: signs no bytes at all',
    run: async (context) => {
      holds(await verifies(context, 'empty', new Uint8Array()), 'It is not a signature of no bytes.');
    },
  },
  {
    name: 'signDigest: rejects "sign_failed" when the prompt is cancelled, without a code or data',
    run: async ({ prompted }) => {
      same(await prompted('cancelled'), rejected('sign_failed'));
    },
  },
  {
    name: 'signDigest: finds out only after the prompt that a person has no key, and rejects "sign_failed"',
    run: async ({ prompted }) => {
      same(await prompted('keyless'), rejected('sign_failed'));
    },
  },
];
