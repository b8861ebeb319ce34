interface NativePage {
  webkit?: { messageHandlers?: { bridge?: unknown } };
  androidBridge?: unknown;
}

/** Whether the app runs on a phone. The runtime cannot tell, since the simulator can make it say yes. */
export function isPhone(): boolean {
  const { webkit, androidBridge } = globalThis as NativePage;
  return Boolean(webkit?.messageHandlers?.bridge ?? androidBridge);
}

/**
 * Whether a person can be in front of this program: whether it is a page in a browser with modal dialogs. The imitations
 * of a browser in which unit tests run have none, or have one that is written in JavaScript.
 */
export function canAskPerson(): boolean {
  if (typeof HTMLDialogElement !== 'function') return false;
  const { showModal } = HTMLDialogElement.prototype;
  return typeof showModal === 'function' && Function.prototype.toString.call(showModal).includes('[native code]');
}
