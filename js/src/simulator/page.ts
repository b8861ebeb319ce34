interface NativePage {
  webkit?: { messageHandlers?: { bridge?: unknown } };
  androidBridge?: unknown;
}

/** Whether the app runs on a phone. The runtime's own answer is no help: the simulator makes it a yes. */
export function isPhone(): boolean {
  const { webkit, androidBridge } = globalThis as NativePage;
  return Boolean(webkit?.messageHandlers?.bridge ?? androidBridge);
}
