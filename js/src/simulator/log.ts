import type { LogEntry } from './definitions.js';

const longest = 1000;

/** Appends to `list`, of which only the latest thousand are kept. */
function append<T>(list: T[], entry: T): void {
  list.push(entry);
  if (list.length > longest) list.shift();
}

type End = Pick<LogEntry, 'outcome' | 'result' | 'error'>;

/** The calls of the plugin and the component's console lines. */
export class Log {
  readonly calls: LogEntry[] = [];
  readonly lines: string[] = [];

  private readonly pending = new Map<number, { entry: LogEntry; begin: number }>();
  private latestId = 0;
  private whenIdle: (() => void)[] = [];

  /** `changed` is told after every change. */
  constructor(private readonly changed: (what: 'log' | 'console') => void) {}

  print(line: string): void {
    append(this.lines, line);
    this.changed('console');
  }

  /** Records a call. The caller calls the returned function once, with the way in which the call ended. */
  begin(method: string, options: object): (end: End) => void {
    const id = ++this.latestId;
    const entry: LogEntry = { id, method, options, calledAt: new Date(), outcome: 'pending' };
    this.pending.set(id, { entry, begin: performance.now() });
    append(this.calls, entry);
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
    const index = id - (this.calls[0]?.id ?? 0);
    if (index >= 0) this.calls[index] = { ...call.entry, ...end, ...duration };
    this.changed('log');
    if (this.pending.size === 0) this.whenIdle.splice(0).forEach((resolve) => resolve());
  }
}
