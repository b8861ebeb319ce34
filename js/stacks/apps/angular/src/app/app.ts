import { Component, signal } from '@angular/core';

import { demo } from '../demo';

@Component({
  selector: 'app-root',
  template: '<button (click)="sign()">Sign</button><output>{{ said() }}</output>',
})
export class App {
  readonly said = signal('');

  async sign(): Promise<void> {
    this.said.set(await demo());
  }
}
