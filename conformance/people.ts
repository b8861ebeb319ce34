import type { UserInfo } from 'kavrel-crypto';

/** The self-check's own people, so that nobody's key is touched. */
export const people = {
  enrolled: 'self-check-1',
  other: 'self-check-2',
  fresh: 'self-check-3',
  nobody: 'self-check-4',
} as const;

/** An identity record for `nationalCode`, with every kind of string in it that a request must carry. */
export function identity(nationalCode: string): UserInfo {
  return {
    identificationId: 'A11223344',
    nationalCode,
    name: 'سارا',
    lastName: 'محمدی',
    enName: 'Sara',
    enLastName: ' Mohammadi ',
    postalCode: '1193653471',
    phoneNumber: '09120000000',
    birthCertificateId: '1234',
    birthDate: '1370/01/31',
    city: 'تهران',
    provinceName: '',
    gender: 'female',
    citizenship: 'IR',
  };
}
