import { mkdtemp, readFile, rm, writeFile } from 'node:fs/promises';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { beforeEach } from 'vitest';

import { run } from '../app.js';

export interface OpenSSL {
  /** Runs the openssl command in the test's folder. Returns what it prints. */
  run(...args: string[]): Promise<string>;

  /** Writes a file into the test's folder. */
  write(name: string, content: Uint8Array | string): Promise<void>;

  /**
   * Issues a certificate for a request, which is base64 as `createCSR` returns it. `authority` is how the authority's
   * own certificate is made, and `certificate` how it issues the person's. Returns the certificate in PEM.
   */
  issue(csrPem: string, authority?: string[], certificate?: string[]): Promise<string>;
}

/** How OpenSSL makes a key that takes it no time. */
export const ecKey = ['-newkey', 'ec', '-pkeyopt', 'ec_paramgen_curve:P-256'];

/** Gives each test of a file a folder of its own in which to use OpenSSL. */
export function useOpenSSL(): OpenSSL {
  let folder: string;

  beforeEach(async () => {
    folder = await mkdtemp(join(tmpdir(), 'kavrel-crypto-'));
    return () => rm(folder, { recursive: true });
  });

  async function openssl(...args: string[]): Promise<string> {
    const { stdout, stderr } = await run('openssl', args, { cwd: folder });
    return stdout + stderr;
  }

  const write = (name: string, content: Uint8Array | string) => writeFile(join(folder, name), content);

  return {
    run: openssl,
    write,
    async issue(csrPem, authority = ecKey, certificate = []) {
      await openssl('req', '-x509', ...authority, '-noenc', '-keyout', 'ca.key', '-out', 'ca.pem', '-subj', '/CN=CA');
      await write('request', Buffer.from(csrPem, 'base64'));
      await openssl('x509', '-req', '-inform', 'DER', '-in', 'request', '-CA', 'ca.pem', '-CAkey', 'ca.key',
        ...certificate, '-out', 'certificate.pem'); // prettier-ignore
      return readFile(join(folder, 'certificate.pem'), 'utf8');
    },
  };
}
