import type { UserInfo } from 'kavrel-crypto';

import { withASCIIDigits } from '../digits.js';
import { make } from '../dom.js';

interface Field {
  label: string;
  sample: string;
  /** Written with digits, which have to be ASCII. */
  digits?: true;
}

/** The fourteen fields, in the order of the record. */
const fields: Record<keyof UserInfo, Field> = {
  identificationId: { label: 'Identity card number', sample: 'A۱۱۲۲۳۳۴۴', digits: true },
  nationalCode: { label: 'National code', sample: '۰۰۱۲۳۴۵۶۷۸', digits: true },
  name: { label: 'First name', sample: 'سارا' },
  lastName: { label: 'Last name', sample: 'محمدی' },
  enName: { label: 'First name, in Latin script', sample: 'Sara' },
  enLastName: { label: 'Last name, in Latin script', sample: 'Mohammadi' },
  postalCode: { label: 'Postal code', sample: '۱۱۹۳۶۵۳۴۷۱', digits: true },
  phoneNumber: { label: 'Phone number', sample: '۰۹۱۲۰۰۰۰۰۰۰', digits: true },
  birthCertificateId: { label: 'Birth certificate number', sample: '۱۲۳۴', digits: true },
  birthDate: { label: 'Date of birth', sample: '۱۳۷۰/۰۱/۳۱', digits: true },
  city: { label: 'City', sample: 'تهران' },
  provinceName: { label: 'Province', sample: 'تهران' },
  gender: { label: 'Gender', sample: 'female' },
  citizenship: { label: 'Citizenship', sample: 'IR' },
};

const names = Object.keys(fields) as (keyof UserInfo)[];

/** The fields of the form, one for each member of the record. Digits become ASCII as they are typed. */
export class PersonForm {
  private readonly inputs: Record<keyof UserInfo, HTMLInputElement>;

  constructor(container: HTMLElement) {
    const entries = names.map((name) => {
      const { label, digits } = fields[name];
      const input = make('input', { id: name, name, dir: digits ? 'ltr' : 'auto', autocomplete: 'off' });
      if (digits) input.addEventListener('input', () => convert(input));
      const caption = make('label', { htmlFor: name }, label);
      container.append(make('div', {}, caption, input));
      return [name, input] as const;
    });
    this.inputs = Object.fromEntries(entries) as typeof this.inputs;
  }

  fillInSample(): void {
    for (const name of names) {
      this.inputs[name].value = fields[name].sample;
      this.inputs[name].dispatchEvent(new Event('input', { bubbles: true }));
    }
  }

  get nationalCode(): string {
    return this.inputs.nationalCode.value;
  }

  /** The record as the plugin takes it: every member there, empty where nothing was entered. */
  get userInfo(): UserInfo {
    return Object.fromEntries(names.map((name) => [name, this.inputs[name].value])) as unknown as UserInfo;
  }
}

/** Converts the digits where they stand, so that the cursor stays where it is. */
function convert(input: HTMLInputElement): void {
  const converted = withASCIIDigits(input.value);
  if (converted === input.value) return;
  const { selectionStart, selectionEnd } = input;
  input.value = converted;
  input.setSelectionRange(selectionStart, selectionEnd);
}
