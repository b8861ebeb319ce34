import type { LogEntry } from '../definitions.js';

const most = 1000;

/** About how many characters a list holds at most. Beyond that, the latest entry alone is kept. */
const longest = 4_000_000;

/** Returns about how many characters there are in a value as JSON has it. */
function lengthOf(value: unknown): number {
  if (typeof value === 'string') return value.length;
  if (typeof value !== 'object' || value === null) return 1;
  return Object.entries(value).reduce((sum, [key, member]) => sum + key.length + lengthOf(member), 1);
}

/** Returns a copy of a value as JSON has it that cannot be changed. */
function frozenCopy<T>(value: T): T {
  if (typeof value !== 'object' || value === null || value instanceof Date) return value;
  const copy = Array.isArray(value)
    ? value.map(frozenCopy)
    : Object.fromEntries(Object.entries(value).map(([key, member]) => [key, frozenCopy(member)]));
  return Object.freeze(copy) as T;
}

/** The latest entries of a list that is bounded by their number and by their length. Each has its number, from 1 on. */
class Latest<T> {
  private entries: { value: T; length: number }[] = [];
  private length = 0;
  private dropped = 0;

  get values(): T[] {
    return this.entries.map(({ value }) => value);
  }

  add(value: T): void {
    this.entries.push({ value, length: 0 });
    this.replace(this.dropped + this.entries.length, value);
  }

  /** Replaces the entry of that number, unless it is gone. */
  replace(number: number, value: T): void {
    const entry = this.entries[number - this.dropped - 1];
    if (!entry) return;
    const length = lengthOf(value);
    this.length += length - entry.length;
    Object.assign(entry, { value, length });
    while (this.entries.length > 1 && (this.entries.length > most || this.length > longest)) {
      this.length -= this.entries.shift()!.length;
      ++this.dropped;
    }
  }
}

type End = Pick<LogEntry, 'outcome' | 'result' | 'error'>;

/** The calls of the plugin and the component's console lines. */
export class Log {
  private readonly latestCalls = new Latest<LogEntry>();
  private readonly latestLines = new Latest<string>();
  private readonly pending = new Map<number, { entry: LogEntry; begin: number }>();
  private latestId = 0;
  private whenIdle: (() => void)[] = [];

  /** `changed` is told after every change. */
  constructor(private readonly changed: (what: 'log' | 'console') => void) {}

  get calls(): LogEntry[] {
    return this.latestCalls.values;
  }

  get lines(): string[] {
    return this.latestLines.values;
  }

  print(line: string): void {
    this.latestLines.add(line);
    this.changed('console');
  }

  /** Records a call. The caller calls the returned function once, with the way in which the call ended. */
  begin(method: string, options: object): (end: End) => void {
    const id = ++this.latestId;
    const entry: LogEntry = frozenCopy({ id, method, options, calledAt: new Date(), outcome: 'pending' });
    this.pending.set(id, { entry, begin: performance.now() });
    this.latestCalls.add(entry);
    this.changed('log');
    return (end) => this.end(id, end);
  }

  /** Records that nothing will ever settle the pending calls. */
  abandon(): void {
    for (const id of [...this.pending.keys()]) this.end(id, { outcome: 'unfinished' });
  }

  /** Resolves when no call is pending. */
  async idle(): Promise<void> {
    if (this.pending.size > 0) await new Promise<void>((resolve) => this.whenIdle.push(resolve));
  }

  private end(id: number, end: End): void {
    const call = this.pending.get(id);
    if (!call) return;
    this.pending.delete(id);
    const duration = end.outcome === 'unfinished' ? {} : { duration: performance.now() - call.begin };
    this.latestCalls.replace(id, frozenCopy({ ...call.entry, ...end, ...duration }));
    this.changed('log');
    if (this.pending.size === 0) this.whenIdle.splice(0).forEach((resolve) => resolve());
  }
}
