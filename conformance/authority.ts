// The simulator's test authority without the simulator, which an app on a phone must not have in it.
export { TestAuthority } from '../js/src/simulator/authority/authority.js';
