import type { PhoneState } from '../definitions.js';

/** The drawings of the panel, as paths for `icon`. */
export const icons: Record<'phone' | 'close' | PhoneState['biometry'], string> = {
  phone: 'M8 2.75h8a2 2 0 0 1 2 2v14.5a2 2 0 0 1-2 2H8a2 2 0 0 1-2-2V4.75a2 2 0 0 1 2-2zM10.5 18.25h3',
  close: 'M6 6l12 12M18 6L6 18',
  none: 'M12 3a9 9 0 1 0 0 18 9 9 0 1 0 0-18M5.6 5.6l12.8 12.8',
  touchID:
    'M4.5 15.5c.6-1.4.8-2.6.8-3.5a6.7 6.7 0 0 1 13.4 0c0 1.4-.1 2.7-.4 4' +
    'M8.3 19.5c.7-2.2 1-4.7 1-7.5a2.7 2.7 0 0 1 5.4 0c0 3.2-.4 6.2-1.2 9M12 12c0 2.6-.2 5-.8 7.3',
  faceID:
    'M12 3.25a6.5 6.5 0 0 1 6.5 6.5v4a6.5 7 0 0 1-13 0v-4a6.5 6.5 0 0 1 6.5-6.5z' +
    'M9.5 10v1.5M14.5 10v1.5M9.75 15.5c1.3 1 3.2 1 4.5 0M1.25 12h1.75M21 12h1.75',
  opticID: 'M2.5 12S6 5.75 12 5.75 21.5 12 21.5 12 18 18.25 12 18.25 2.5 12 2.5 12zM12 9a3 3 0 1 0 0 6 3 3 0 1 0 0-6',
};
