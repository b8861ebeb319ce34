// The simulator has to be there before the runtime is loaded, and only while the app is being developed.
if (import.meta.env.DEV) await import('kavrel-crypto/simulator/ios');

await import('./self-check/page.js');
