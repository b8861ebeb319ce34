import { spawn } from 'node:child_process';
import { createServer } from 'node:net';
import { stripVTControlCharacters } from 'node:util';

const patience = 600_000;

/** The environment of the commands. */
export const environment = {
  ...process.env,
  NODE_ENV: undefined,
  CI: '1',
  NG_CLI_ANALYTICS: 'false',
  NEXT_TELEMETRY_DISABLED: '1',
  npm_config_loglevel: 'error',
  npm_config_yes: 'true',
};

/** The commands that run. Each leads a process group, so that what it has started can be ended with it. */
const running = new Set();

function end({ pid }) {
  try {
    process.kill(-pid, 'SIGKILL');
  } catch {
    // It has ended by itself.
  }
}

process.on('exit', () => running.forEach(end));

/** Starts a command in a folder. `printed()` is what it has printed so far, and `ended` resolves with its status. */
function start(command, cwd, variables = {}) {
  const env = { ...environment, ...variables };
  const child = spawn('sh', ['-ec', command], { cwd, env, detached: true, stdio: ['ignore', 'pipe', 'pipe'] });
  let text = '';
  for (const stream of [child.stdout, child.stderr]) stream.setEncoding('utf8').on('data', (more) => (text += more));
  running.add(child);
  const ended = new Promise((resolve) => child.on('close', resolve)).finally(() => running.delete(child));
  return { child, ended, printed: () => stripVTControlCharacters(text) };
}

/** Runs a command to its end and returns what it prints. Rejects with all of that if it fails or takes too long. */
export async function run(command, cwd) {
  const { child, ended, printed } = start(command, cwd);
  const timer = setTimeout(() => end(child), patience);
  const status = await ended;
  clearTimeout(timer);
  if (status !== 0) throw new Error(`${command}\nended with ${status ?? 'a signal, or took too long'}:\n${printed()}`);
  return printed();
}

async function freePort() {
  const server = createServer();
  await new Promise((resolve) => server.listen(0, '127.0.0.1', resolve));
  const { port } = server.address();
  await new Promise((resolve) => server.close(resolve));
  return port;
}

const answers = (url) =>
  fetch(url).then(
    ({ ok }) => ok,
    () => false,
  );

/** Runs a command that serves on port $PORT while `use` looks at what it serves. Then ends it. */
export async function serving(command, cwd, use) {
  const port = await freePort();
  const url = `http://127.0.0.1:${port}/`;
  const { child, ended, printed } = start(command, cwd, { PORT: String(port) });
  let hasEnded = false;
  ended.then(() => (hasEnded = true));
  try {
    const began = Date.now();
    while (!(await answers(url))) {
      if (hasEnded || Date.now() - began > patience) throw new Error('It serves nothing.');
      await new Promise((resolve) => setTimeout(resolve, 200));
    }
    return await use(url);
  } catch (error) {
    throw new Error(`${command}\n${error.message}\n${printed()}`);
  } finally {
    end(child);
    await ended;
  }
}
