interface NativePage {
  webkit?: { messageHandlers?: { bridge?: unknown } };
  androidBridge?: unknown;
}

/** Whether the app runs on a phone. The runtime cannot tell, since the simulator makes it say yes. */
export function isPhone(): boolean {
  const { webkit, androidBridge } = globalThis as NativePage;
  return Boolean(webkit?.messageHandlers?.bridge ?? androidBridge);
}
