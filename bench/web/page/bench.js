// The bench behind the page: its state, its frames as they come, and its commands.
import {h} from '/dom.js';

const kKept = 2000;

export const bench = {state: null, frames: [], commands: null};
const listeners = {state: [], frame: [], link: [], ran: [], clear: []};

/** on("state" | "frame" | "link" | "ran" | "clear", f) */
export function on(kind, listener) {
  listeners[kind].push(listener);
}

function tell(kind, what) {
  for (const listener of listeners[kind]) listener(what);
}

let run = null;

/** Follows the bench, and does so again whenever it was lost. */
export function follow() {
  const source = new EventSource('/events');
  source.addEventListener('open', () => tell('link', true));
  source.addEventListener('hello', event => {
    const next = JSON.parse(event.data).run;
    if (run !== null && run !== next) {
      // another bench has taken the place of the one before
      bench.frames.length = 0;
      tell('clear');
      loadCommands();
    }
    run = next;
  });
  source.addEventListener('state', event => {
    bench.state = JSON.parse(event.data);
    tell('state', bench.state);
  });
  source.addEventListener('frame', event => {
    const frame = JSON.parse(event.data);
    frame.key = event.lastEventId;
    bench.frames.push(frame);
    if (bench.frames.length > kKept) bench.frames.shift();
    tell('frame', frame);
  });
  source.addEventListener('ran', event => tell('ran', JSON.parse(event.data)));
  source.addEventListener('error', () => {
    tell('link', false);
    if (source.readyState === EventSource.CLOSED) setTimeout(follow, 1000);
  });
}

export async function loadCommands() {
  const answer = await fetch('/commands');
  bench.commands = await answer.json();
  return bench.commands;
}

async function post(path, line) {
  try {
    const answer = await fetch(path, {
      method: 'POST',
      headers: {'Content-Type': 'application/json'},
      body: JSON.stringify({line}),
    });
    return await answer.json();
  } catch {
    return {line, answers: [], failed: 'the bench does not answer'};
  }
}

/** Runs a line: {line, answers: [..], failed}. */
export const order = line => post('/run', line);

/** Ends the line that runs now. */
export const cancel = () => post('/cancel', bench.state.busy);

/** The same for what has no place of its own for an answer: a failure is said above the page. */
export async function act(line) {
  const outcome = await order(line);
  const refused = outcome.answers?.find(answer => answer.error);
  if (outcome.failed || refused) toast(`${line}: ${outcome.failed ?? refused.error}`);
  return outcome;
}

export function toast(text) {
  const box = h(
    'div',
    {class: 'toast'},
    h('span', {}, text),
    h('button', {type: 'button', class: 'quiet', 'aria-label': 'Close', onclick: () => box.remove()}, '×'),
  );
  document.getElementById('toasts').append(box);
  setTimeout(() => box.remove(), 12000);
}

/** A word of a line, whatever it holds. */
export function quote(text) {
  return /^[\w.:\/+=?&-]+$/.test(text) ? text : `'${String(text).replaceAll("'", `'"'"'`)}'`;
}

/** "name='value'" of what is given. */
export function named(values) {
  return Object.entries(values)
    .filter(([, value]) => value !== '' && value !== undefined)
    .map(([name, value]) => `${name}=${quote(value)}`)
    .join(' ');
}

export function devices() {
  return bench.state?.router?.devices ?? [];
}

export function deviceName(mac) {
  return devices().find(device => device.mac.toUpperCase() === mac.toUpperCase())?.name || mac;
}
