import { html } from './dom.js';

/** Returns the time of day, with the whole moment for whoever points at it. */
export function atTime(moment: Date): HTMLTimeElement {
  const time = moment.toLocaleTimeString('en-GB');
  return html('time', { datetime: moment.toISOString(), title: moment.toLocaleString('en-GB') }, time);
}

/** Returns a length of time for people to read, in milliseconds or in seconds. */
export function forPeople(milliseconds: number): string {
  if (milliseconds < 10) return `${milliseconds.toFixed(1)} ms`;
  return milliseconds < 1000 ? `${milliseconds.toFixed(0)} ms` : `${(milliseconds / 1000).toFixed(1)} s`;
}
