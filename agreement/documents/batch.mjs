// Runs the programs of docs/verify.md without a new process for each document. A line on standard input names a program
// and its arguments, with tabs between them; it is answered with an empty line, or with the reason of the refusal.

import { createInterface } from 'node:readline';
import { pathToFileURL } from 'node:url';

class Exit extends Error {
  constructor(status) {
    super(`it ended with ${status}`);
    this.status = status;
  }
}

process.exit = (status) => {
  throw new Exit(status);
};
const answer = process.stdout.write.bind(process.stdout);
process.stdout.write = () => true;

let count = 0;
for await (const line of createInterface({ input: process.stdin })) {
  const [program, ...argv] = line.split('\t');
  process.argv = [process.execPath, program, ...argv];
  // What was imported once is not run again, unless it is called otherwise.
  const reason = await import(`${pathToFileURL(program)}?${count++}`).then(
    () => '',
    (error) => (error instanceof Exit && error.status === 0 ? '' : error.message.replaceAll('\n', ' ')),
  );
  answer(`${reason}\n`);
}
