// A bench in its sandbox with a page outside, and a browser to look at it.
import {spawn} from 'node:child_process';
import {createRequire} from 'node:module';
import {once} from 'node:events';
import {createInterface} from 'node:readline';

const build = process.env.PLUG_BUILD;
const {chromium} = createRequire(`${process.env.PLUG_PAGE_TOOLS}/`)('playwright-core');

/** Starts one; {url, port, lines, stop}: the lines that it prints. Throws when it ends instead. */
export async function startBench(port = 0, ...options) {
  const own = ['--sandbox', '--register-port', '0', '--login-port', '0', '--interval', '2'];
  const child = spawn(`${build}/plug-bench`, [...own, ...options, 'web', '--port', String(port)], {
    stdio: ['ignore', 'pipe', 'inherit'],
  });
  const ended = once(child, 'exit').then(([status]) => {
    throw new Error(`the bench ended with ${status}`);
  });
  const lines = createInterface({input: child.stdout})[Symbol.asyncIterator]();
  const {value: line} = await Promise.race([lines.next().then(next => (next.done ? ended : next)), ended]);
  const url = line.match(/http:\S+\//)[0];
  return {
    url,
    port: Number(new URL(url).port),
    lines,
    async stop(signal = 'SIGTERM') {
      if (child.exitCode !== null || child.signalCode !== null) return;
      child.kill(signal);
      await once(child, 'exit');
    },
  };
}

export const startBrowser = () =>
  chromium.launch({executablePath: process.env.CHROMIUM ?? '/usr/bin/chromium', args: ['--no-sandbox']});

/** Runs a line past the page. */
export const run = (url, line) => post(url, 'run', line);

export async function post(url, path, line) {
  const answer = await fetch(url + path, {
    method: 'POST',
    headers: {'Content-Type': 'application/json'},
    body: JSON.stringify({line}),
  });
  return answer.json();
}
