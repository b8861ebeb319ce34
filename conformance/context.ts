import { TestAuthority } from './authority.js';
import { isEnabled } from './biometrics.js';
import { fromPEM } from './encoding.js';
import type { Call, Outcome } from './outcome.js';
import { resultOf } from './outcome.js';
import { identity, people } from './people.js';
import type { PromptName } from './prompts.js';
import { prompts } from './prompts.js';

/** What every check works with. */
export interface Context {
  /** Makes one call of the plugin. */
  call: Call;
  /** How the call behind one of the prompts settled. Each prompt is shown once, by the first check that asks. */
  prompted(name: PromptName): Promise<Outcome>;
  /** A certificate in DER that a test authority issued for the enrolled person's key. */
  certificate: Uint8Array;
  /** A certificate for another person's key, as PEM. */
  otherCertificate: string;
}

/** Asks the person for the answer that the prompt expects, and returns once the prompt may be shown. */
export type Announce = (prompt: { name: PromptName; position: number; total: number; ask: string }) => Promise<void>;

/** Replaces how a call settles, while one check looks at it. Only the tests do that. */
export type Intercept = (
  check: string,
  method: string,
  options: object | undefined,
  settled: Promise<Outcome>,
) => Promise<Outcome>;

/** Makes the people's keys and certificates, with `call`. Throws where that fails. */
export async function prepare(call: Call): Promise<Pick<Context, 'certificate' | 'otherCertificate'>> {
  const authority = await TestAuthority.create();
  const issueFor = async (nationalCode: string): Promise<string> => {
    resultOf(await call('ensureKey', { nationalCode }));
    const request = resultOf(await call('createCSR', { userInfo: identity(nationalCode) }));
    return authority.issue(String(request.csrPem));
  };
  await call('deleteKey', { nationalCode: people.nobody });
  const certificate = fromPEM('CERTIFICATE', await issueFor(people.enrolled));
  return { certificate, otherCertificate: await issueFor(people.other) };
}

/** Deletes what the self-check made. The slot is empty afterwards. */
export async function cleanUp(call: Call): Promise<void> {
  for (const nationalCode of Object.values(people)) await call('deleteKey', { nationalCode });
}

/** Thrown by a check that cannot run on this device. */
export class NotHere extends Error {}

/** Shows each prompt once and remembers how its call settled. */
export function promptOnce(call: Call, announce: Announce): Context['prompted'] {
  const outcomes = new Map<PromptName, Promise<Outcome>>();
  const show = async (name: PromptName): Promise<Outcome> => {
    if (!(await isEnabled(call))) throw new NotHere('Biometrics are not available here, so nothing can be signed.');
    const { ask, options } = prompts[name];
    const names = Object.keys(prompts);
    await announce({ name, ask, position: names.indexOf(name) + 1, total: names.length });
    return call('signDigest', options);
  };
  return (name) => {
    const known = outcomes.get(name) ?? show(name);
    outcomes.set(name, known);
    return known;
  };
}
