import { DigitalSign } from 'kavrel-crypto';

import { sign } from './sign';

/** What the button "Sign" shows: the signature of "Hello" with the key that checks it, or the rejection. */
export async function demo(): Promise<string> {
  try {
    const signature = await sign('Hello');
    const { publicKeyPem } = await DigitalSign.getKeyInfo({ nationalCode: '0012345678' });
    return JSON.stringify({ signature, publicKeyPem });
  } catch (error) {
    const { code, message } = error as { code?: string; message: string };
    return `${code}: ${message}`;
  }
}
