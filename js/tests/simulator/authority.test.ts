import { X509Certificate, createPublicKey } from 'node:crypto';
import { describe, expect, test } from 'vitest';

import { ecKey, useOpenSSL } from './openssl.js';
import { nationalCode, outcomeOf, startPhone, TestAuthority, userInfo } from './phone.js';

const openssl = useOpenSSL();

/** A phone with a key, and a request for it. */
async function phoneAndRequest() {
  const phone = await startPhone({ keys: 'reused' });
  return { phone, ...(await phone.call('createCSR', { userInfo })) };
}

const begins = /-----BEGIN CERTIFICATE-----/g;

test('a test authority issues what OpenSSL takes for a certificate of a chain', async () => {
  const { phone, csrPem } = await phoneAndRequest();
  const authority = await TestAuthority.create();
  const certPem = await authority.issue(csrPem);
  expect(await phone.call('storeCertificate', { nationalCode, certPem })).toEqual({ stored: true });

  await openssl.write('ca.pem', authority.certificate);
  await openssl.write('certificate.pem', certPem);
  await openssl.write('request', Buffer.from(csrPem, 'base64'));
  expect(await openssl.run('verify', '-x509_strict', '-CAfile', 'ca.pem', 'certificate.pem')).toBe(
    'certificate.pem: OK\n',
  );
  const subjectOf = async (...args: string[]) =>
    (await openssl.run(...args, '-noout', '-subject', '-nameopt', 'RFC2253')).trim();
  expect(await subjectOf('x509', '-in', 'certificate.pem')).toBe(
    await subjectOf('req', '-inform', 'DER', '-in', 'request'),
  );
  const extensions = await openssl.run('x509', '-in', 'certificate.pem', '-noout', '-ext', 'extendedKeyUsage');
  expect(extensions).toMatch(
    /Extended Key Usage: critical\s+1\.3\.6\.1\.4\.1\.311\.10\.3\.12, TLS Web Client Authentication/,
  );
  const [from, to] = ['validFrom', 'validTo'].map((end) =>
    Date.parse(new X509Certificate(certPem)[end as 'validFrom']),
  );
  const aDay = 24 * 60 * 60 * 1000;
  expect(Math.abs(from - (Date.now() - aDay))).toBeLessThan(aDay / 100);
  expect(Math.abs(to - (Date.now() + 365 * aDay))).toBeLessThan(aDay / 100);
});

describe('a certificate is issued', () => {
  test.each([
    ['that has expired', new Date(Date.now() - 60_000)],
    ['that is valid beyond 2049', new Date(Date.UTC(2060, 0, 1))],
  ])('%s', async (_, notAfter) => {
    const { phone, csrPem } = await phoneAndRequest();
    const certPem = await (await TestAuthority.create()).issue(csrPem, { notAfter });
    const { validFrom, validTo } = new X509Certificate(certPem);
    expect(Date.parse(validTo)).toBe(Math.floor(notAfter.getTime() / 1000) * 1000);
    expect(Date.parse(validFrom)).toBeLessThan(Date.parse(validTo));
    expect(await phone.call('storeCertificate', { nationalCode, certPem })).toEqual({ stored: true });
  });

  test('with another subject', async () => {
    const { csrPem } = await phoneAndRequest();
    const subject = { C: 'IR', CN: 'سارا محمدی', serialNumber: '7', '2.5.4.12': 'Dr' };
    await openssl.write('certificate.pem', await (await TestAuthority.create()).issue(csrPem, { subject }));
    const printed = await openssl.run('x509', '-in', 'certificate.pem', '-noout', '-subject', '-nameopt', 'utf8,sname,sep_comma_plus'); // prettier-ignore
    expect(printed).toBe('subject=C=IR,CN=سارا محمدی,serialNumber=7,title=Dr\n');
  });

  test('for another key, which the component refuses', async () => {
    const { phone, csrPem } = await phoneAndRequest();
    const certPem = await (await TestAuthority.create()).issue(csrPem, { forAnotherKey: true });
    expect(new X509Certificate(certPem).publicKey.asymmetricKeyDetails).toMatchObject({ modulusLength: 2048 });
    expect(await outcomeOf(phone.call('storeCertificate', { nationalCode, certPem }))).toBe('Certificate is not valid');
  });

  test('with its chain', async () => {
    const { csrPem } = await phoneAndRequest();
    const authority = await TestAuthority.create();
    const chain = await authority.issue(csrPem, { withChain: true });
    expect(chain.match(begins)).toHaveLength(2);
    expect(chain.endsWith(authority.certificate)).toBe(true);
    expect(new X509Certificate(chain).verify(new X509Certificate(authority.certificate).publicKey)).toBe(true);
  });

  test('for a request in PEM, of whoever made it', async () => {
    await openssl.run('req', '-new', '-newkey', 'rsa:2048', '-noenc', '-subj', '/CN=somebody', '-keyout', 'key.pem', '-out', 'request.pem'); // prettier-ignore
    const key = createPublicKey(await openssl.run('pkey', '-in', 'key.pem', '-pubout'));
    const certificate = await (await TestAuthority.create()).issue(await openssl.run('req', '-in', 'request.pem'));
    expect(new X509Certificate(certificate).publicKey.equals(key)).toBe(true);
  });
});

test('two authorities have two keys', async () => {
  const [one, other] = await Promise.all([TestAuthority.create(), TestAuthority.create()]);
  const key = new X509Certificate(other.certificate).publicKey;
  expect(new X509Certificate(one.certificate).verify(key)).toBe(false);
});

describe('an authority refuses', () => {
  test.each(['', 'no base64', 'AAAA', 'MAA=', 'MAMCAQE='])('the request %j', async (request) => {
    const authority = await TestAuthority.create();
    await expect(authority.issue(request)).rejects.toThrow(TypeError);
    await expect(authority.issue(request)).rejects.toThrow(/^issue takes a request as createCSR makes it/);
  });

  test('a request that is not signed with its own key, and one for an EC key', async () => {
    const authority = await TestAuthority.create();
    const { csrPem } = await phoneAndRequest();
    const forged = Buffer.from(csrPem, 'base64');
    forged[forged.length - 1] ^= 1;
    await expect(authority.issue(forged.toString('base64'))).rejects.toThrow(/its signature does not verify/);
    await openssl.run('req', '-new', ...ecKey, '-noenc', '-subj', '/CN=x', '-keyout', 'key.pem', '-out', 'request.pem');
    await expect(authority.issue(await openssl.run('req', '-in', 'request.pem'))).rejects.toThrow(TypeError);
  });

  test.each([
    [{ days: 7 }, 'issue does not know "days". It takes notAfter, subject, forAnotherKey, withChain.'],
    [{ notAfter: new Date(NaN) }, 'issue takes a valid Date as notAfter, and this is an object.'],
    [{ notAfter: 7 }, 'issue takes a valid Date as notAfter, and this is 7.'],
    [{ subject: 'CN=x' }, 'issue takes an object as subject, and this is "CN=x".'],
    [{ subject: { XX: 'x' } }, /^issue, in subject, does not know "XX"\. It takes CN, SN, /],
    [{ subject: { CN: 7 } }, 'issue, in subject, takes a string as CN, and this is 7.'],
    [{ withChain: 'yes' }, 'issue takes true or false as withChain, and this is "yes".'],
  ])('the options %j', async (options, sentence) => {
    const authority = await TestAuthority.create();
    await expect(authority.issue('', options as never)).rejects.toThrow(sentence);
  });
});
