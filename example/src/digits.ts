/**
 * `text` with Persian (U+06F0) and Arabic-Indic (U+0660) digits turned into the digits 0 to 9.
 *
 * A national code or a postal code has to be ASCII in the request: written with any other digits, it makes a request
 * that no authority can read.
 */
export function withASCIIDigits(text: string): string {
  return text.replace(/[\u0660-\u0669\u06f0-\u06f9]/g, (digit) => String(digit.charCodeAt(0) & 0xf));
}
