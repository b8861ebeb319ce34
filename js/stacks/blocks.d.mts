/** A fenced block of code on a page of the documentation. */
export interface Block {
  section: string;
  name: string;
  code: string;
}

export function blocksOf(page: string): Promise<Block[]>;
