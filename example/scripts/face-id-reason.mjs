// Runs after every "cap sync": writes into the app's Info.plist why it asks for Face ID. Without the entry, iOS stops the
// app at the first prompt.
import { readFile, writeFile } from 'node:fs/promises';
import { join } from 'node:path';
import { build, parse } from 'plist';

const reason = 'Confirms that it is you who signs.';

if (process.env.CAPACITOR_PLATFORM_NAME === 'ios') {
  const file = join(process.env.CAPACITOR_ROOT_DIR, 'ios/App/App/Info.plist');
  const entries = parse(await readFile(file, 'utf8'));
  await writeFile(file, `${build({ ...entries, NSFaceIDUsageDescription: reason })}\n`);
}
