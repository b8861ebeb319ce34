import type { PlatformOperation } from '../definitions.js';
import { Failure, status } from '../failure.js';

/** The operations of the platform that are to fail. */
export class Faults {
  /** How often each operation was carried out, and which of its turns fail. */
  private readonly turns = new Map<PlatformOperation, { count: number; failing: Set<number> }>();

  /** Lets an operation fail after `after` more of its kind, or as soon as possible after that. */
  arrange(operation: PlatformOperation, after: number): void {
    const { count, failing } = this.turnsOf(operation);
    let turn = count + after;
    while (failing.has(turn)) ++turn;
    failing.add(turn);
  }

  clear(): void {
    this.turns.clear();
  }

  /** Counts a turn of the operation. Throws if it is to fail. */
  take(operation: PlatformOperation): void {
    const turns = this.turnsOf(operation);
    if (turns.failing.delete(turns.count++)) {
      throw new Failure(status.io, `The simulated phone was told to fail: ${operation}.`);
    }
  }

  private turnsOf(operation: PlatformOperation): { count: number; failing: Set<number> } {
    const turns = this.turns.get(operation) ?? { count: 0, failing: new Set() };
    this.turns.set(operation, turns);
    return turns;
  }
}
