export { TestAuthority } from './authority/authority.js';
export type * from './definitions.js';
export { startSimulator } from './start/start.js';
