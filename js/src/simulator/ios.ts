import type { Simulator } from './index.js';
import { startSimulator } from './index.js';
import { isPhone } from './start/page.js';
import { requireNoOtherPlatform } from './start/platform.js';

function begin(): Promise<Simulator | null> {
  if (isPhone() || typeof document === 'undefined') return Promise.resolve(null);
  requireNoOtherPlatform();
  return startSimulator({ platform: 'ios' });
}

const { kavrelSimulator } = globalThis as { kavrelSimulator?: Promise<Simulator> };

/**
 * The simulator of this page, which `startSimulator({ platform: 'ios' })` starts when this module is imported, or null on
 * a phone, on a server and in a worker, where this module does nothing.
 */
export const phone: Promise<Simulator | null> = kavrelSimulator ?? begin();
