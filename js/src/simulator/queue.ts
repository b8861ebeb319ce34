/** Does one thing after the other, in the order in which they were asked for. */
export class Queue {
  private last: Promise<unknown> = Promise.resolve();

  /** Does `work` after everything before it. A rejection goes to the caller and does not hold up what follows. */
  run<T>(work: () => T | Promise<T>): Promise<T> {
    const result = this.last.then(work);
    this.last = result.then(
      () => undefined,
      () => undefined,
    );
    return result;
  }
}
