import type { RejectionMessage } from 'kavrel-crypto';

/** What a person is told about each rejection, in the words of this app. */
export const advice: Record<RejectionMessage, string> = {
  'nationalCode required': 'Enter the national code first.',
  'not found': 'This device holds no key for this person. Ask for a certificate first.',
  'failed to get public key':
    'The key on this device cannot be read. Try again; if that fails, delete it and enrol anew.',
  'Provide certPem': 'Paste the certificate that the authority sent.',
  'Certificate is not valid (key missing)':
    'This device holds no key for this person: it was deleted, or the request came from another device. Enrol anew.',
  'Certificate is not valid':
    'This is not a certificate for the key on this device. Paste exactly one certificate, the answer to the last request.',
  'userInfo required': 'The app left out the person. Please report this.',
  'invalid userInfo': 'The app left out one of the fourteen fields. Please report this.',
  ensure_key_failed: 'The device could not make a key. Unlock it and try again.',
  csr_failed: 'The device could not write the request. Unlock it and try again.',
  'invalid digestB64': 'The app sent something that cannot be signed. Please report this.',
  sign_failed: 'Nothing was signed. Try again, and confirm with your face or finger when asked.',
};

/** What a person is told about whatever a call of the plugin rejected with, and the plugin's own words for it. */
export function explained(rejection: unknown): { advice: string; details: string } {
  const { message, code } = rejection as { message?: string; code?: string };
  const details = [message ?? String(rejection), code].filter(Boolean).join(' · ');
  const known = advice[message as RejectionMessage];
  return known ? { advice: known, details } : { advice: details, details: '' };
}
