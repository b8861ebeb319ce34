export { TestAuthority } from './authority.js';
export type * from './definitions.js';
export { startSimulator } from './start.js';
