import { readFile } from 'node:fs/promises';

/**
 * Returns the fenced blocks of code on a page, also those in lists: the heading of second level that they stand under
 * (empty before the first), the file that their first line names or else their language, and the code.
 */
export async function blocksOf(page) {
  const parts = (await readFile(page, 'utf8')).split(/^## (.*)\n/m);
  return parts.flatMap((text, index) => {
    if (index % 2) return [];
    const fences = text.matchAll(/^( *)```(\w+)\n(.*?)^ *```$/gms);
    return [...fences].map(([, indentation, language, lines]) => {
      const code = lines.replace(new RegExp(`^${indentation}`, 'gm'), '');
      const name = code.match(/^(?:\/\/|<!--) (\S+)( -->)?\n/)?.[1] ?? language;
      return { section: index ? parts[index - 1] : '', name, code };
    });
  });
}
