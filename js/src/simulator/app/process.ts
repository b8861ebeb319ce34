import type { App, Hardware } from '../device/device.js';
import { Device } from '../device/device.js';
import type { PlatformError } from '../failure.js';
import type { Queue } from '../queue.js';

import { loadComponent } from './component.js';
import type { Component } from './component.js';

/** Hears from a process what happens in it. */
export interface ProcessObserver {
  /** The component wrote a console line. */
  printed(line: string): void;

  /** The process stopped because the precondition `reason` failed. */
  crashed(reason: string): void;
}

const fatal = /^KavrelCrypto: precondition failed: (.*)/;

/** The app with the component in it, from its start to its end. */
export class AppProcess implements App {
  private component: Component | undefined;
  private hasEnded = false;
  private leave: () => void = () => undefined;
  private reason: string | undefined;

  /** Everything that enters the component comes through `queue`, one after the other. */
  constructor(
    private readonly hardware: Hardware,
    private readonly queue: Queue,
    private readonly observer: ProcessObserver,
  ) {}

  /** Starts the process. Resolves with the names of the methods that the plugin registers. */
  start(): Promise<string[]> {
    return this.queue.run(async () => {
      const device = new Device(this.hardware, this);
      this.component = await loadComponent(device, (line) => this.printError(line));
      return this.component.methods();
    });
  }

  print(line: string): void {
    this.observer.printed(line);
  }

  /** Does `work` in its turn, which lasts until the component returns. Once the process has ended, does nothing. */
  enter(work: (component: Component) => unknown): void {
    void this.queue.run(() => this.turn(work));
  }

  run(task: number): void {
    this.enter((component) => component.run(task));
  }

  replyTo(pending: number, error: PlatformError | null): void {
    this.enter((component) => component.replyTo(pending, error));
  }

  outlive<T>(work: Promise<T>): Promise<T> {
    return new Promise((resolve, reject) => {
      work.then(
        (value) => this.hasEnded || resolve(value),
        (error) => this.hasEnded || reject(error),
      );
    });
  }

  /** Ends the process in the middle of whatever it is doing. */
  end(): void {
    this.hasEnded = true;
    this.leave();
  }

  private turn(work: (component: Component) => unknown): Promise<void> {
    return new Promise((leave) => {
      const { component } = this;
      if (this.hasEnded || !component) return leave();
      this.leave = leave;
      Promise.resolve()
        .then(() => work(component))
        .catch((error) => this.crash(error))
        .then(() => leave());
    });
  }

  private crash(error: unknown): void {
    if (this.hasEnded) return;
    this.end();
    this.observer.crashed(this.reason ?? `nothing catches what is thrown (${String(error)})`);
  }

  private printError(line: string): void {
    this.reason ??= fatal.exec(line)?.[1];
    this.observer.printed(line);
  }
}
