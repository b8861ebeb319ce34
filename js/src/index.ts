import { registerPlugin } from '@capacitor/core';

import type { DigitalSignPlugin } from './definitions.js';

export const DigitalSign = registerPlugin<DigitalSignPlugin>('DigitalSign', {
  web: () => import('./web.js').then((m) => new m.DigitalSignWeb()),
});

export * from './definitions.js';
