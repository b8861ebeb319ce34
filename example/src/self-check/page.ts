import { Capacitor } from '@capacitor/core';
import { DigitalSign } from 'kavrel-crypto';
import { version } from 'kavrel-crypto/package.json';
import type { Simulator } from 'kavrel-crypto/simulator';

import type { Announce } from '../../../conformance/context.js';
import { callerOf } from '../../../conformance/outcome.js';
import { prompts } from '../../../conformance/prompts.js';
import type { CheckResult, Progress, Report } from '../../../conformance/run.js';
import { runSelfCheck } from '../../../conformance/run.js';
import { element, make, offerDownload } from '../dom.js';

const marks: Record<CheckResult['outcome'], string> = { passed: '✓', failed: '✗', 'not run': '–' };

const runButton = element('run', HTMLButtonElement);
const results = element('results');
const bar = element('progress', HTMLProgressElement);
const reportText = element('report', HTMLTextAreaElement);
const reportNotice = element('report-notice');

/** Where the page runs on the simulator, the simulator; on a phone, null. */
const simulator = (): Promise<Simulator | null> =>
  (globalThis as { kavrelSimulator?: Promise<Simulator | null> }).kavrelSimulator ?? Promise.resolve(null);

/** Tells the person how to answer the prompt, and waits until it may be shown. The simulator answers by itself. */
const announce: Announce = async ({ name, position, total, ask }) => {
  const phone = await simulator();
  if (phone) {
    phone.prompts = prompts[name].answer;
    return;
  }
  element('prompt-text').textContent = `Prompt ${position} of ${total}. ${ask}`;
  element('prompt').hidden = false;
  const button = element('show-prompt', HTMLButtonElement);
  button.focus();
  await new Promise((resolve) => button.addEventListener('click', resolve, { once: true }));
  element('prompt').hidden = true;
};

function show({ position, total, name, results: ended }: Progress): void {
  element('results-section').hidden = false;
  bar.max = total;
  bar.value = ended.length;
  for (const result of ended.slice(results.children.length)) results.append(line(result));
  element('summary').textContent = name ? `Check ${position} of ${total}: ${name}` : summary(ended);
}

function line({ name, outcome, detail, milliseconds }: CheckResult): HTMLLIElement {
  const mark = make('span', { className: 'mark', ariaHidden: 'true' }, marks[outcome]);
  const item = make('li', {}, mark, make('span', {}, name), make('small', {}, `${outcome}, ${milliseconds} ms`));
  item.dataset.outcome = outcome;
  if (detail) item.append(make('p', {}, detail));
  return item;
}

function summary(ended: CheckResult[]): string {
  const count = (outcome: CheckResult['outcome']): number =>
    ended.filter((result) => result.outcome === outcome).length;
  const failed = count('failed');
  const verdict = failed ? `${failed} of ${ended.length} checks failed.` : `All is as it should be.`;
  return `${verdict} ${count('passed')} passed, ${failed} failed, ${count('not run')} could not run here.`;
}

function offerReport(report: Report, onPhone: boolean): void {
  const described = {
    package: `kavrel-crypto ${version}`,
    date: new Date().toISOString(),
    platform: Capacitor.getPlatform(),
    userAgent: navigator.userAgent,
    ...report,
  };
  reportText.value = `${JSON.stringify(described, null, 2)}\n`;
  reportNotice.textContent = '';
  element('share-report').hidden = !('share' in navigator);
  // The app's web view downloads nothing: it would leave this page for the report.
  const download = element('download-report', HTMLAnchorElement);
  download.hidden = onPhone;
  if (!onPhone) offerDownload(download, 'self-check.json', 'application/json', reportText.value);
  element('summary').dataset.good = String(report.results.every(({ outcome }) => outcome !== 'failed'));
}

async function copyReport(): Promise<void> {
  try {
    await navigator.clipboard.writeText(reportText.value);
    reportNotice.textContent = 'Copied.';
  } catch {
    reportText.select();
    reportNotice.textContent = 'The report could not be copied. It is selected, so that you can copy it yourself.';
  }
}

async function shareReport(): Promise<void> {
  try {
    await navigator.share({ title: 'Self-check', text: reportText.value });
  } catch (reason) {
    if (reason instanceof DOMException && reason.name === 'AbortError') return; // the person closed the sheet
    reportNotice.textContent = `The report could not be shared: ${reason}. Copy it instead.`;
  }
}

async function run(): Promise<void> {
  const phone = await simulator();
  const before = phone?.prompts;
  runButton.disabled = true;
  results.replaceChildren();
  delete element('summary').dataset.good;
  element('run-notice').textContent = '';
  try {
    const report = await runSelfCheck({ call: callerOf(DigitalSign), announce, progress: show });
    element('not-runnable').replaceChildren(...report.notRunnable.map((sentence) => make('li', {}, sentence)));
    offerReport(report, Capacitor.isNativePlatform() && !phone);
  } catch (reason) {
    element('run-notice').textContent =
      `The check could not start. ${reason instanceof Error ? reason.message : reason}`;
  } finally {
    if (phone && before) phone.prompts = before;
    runButton.disabled = false;
  }
}

element('prompt-count').textContent = String(Object.keys(prompts).length);
runButton.addEventListener('click', () => void run());
element('copy-report').addEventListener('click', () => void copyReport());
element('share-report').addEventListener('click', () => void shareReport());
