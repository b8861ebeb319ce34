export type * from './definitions.js';
export { startSimulator } from './start.js';
