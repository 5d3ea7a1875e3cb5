// The frames of both links as they come, newest first.
import {table} from '/answer.js';
import {bench, on} from '/bench.js';
import {h} from '/dom.js';

const kShown = 400;
const kRoutine = ['heartbeat', 'heartbeat ack', 'connected'];

/** The note of a frame, other than that of a connection, says what is wrong with it. */
export const isWrong = ({hex, note}) => Boolean(hex && note);

const two = number => String(number).padStart(2, '0');
function clock(time) {
  const date = new Date(time);
  return `${two(date.getHours())}:${two(date.getMinutes())}:${two(date.getSeconds())}.${String(date.getMilliseconds()).padStart(3, '0')}`;
}

function dump(hex) {
  const lines = [];
  for (let at = 0; at < hex.length; at += 32) {
    const bytes = hex.slice(at, at + 32).match(/../g) ?? [];
    const text = bytes
      .map(byte => parseInt(byte, 16))
      .map(code => (code > 31 && code < 127 ? String.fromCharCode(code) : '.'))
      .join('');
    lines.push(`${(at / 2).toString(16).padStart(4, '0')}  ${bytes.join(' ').padEnd(47)}  ${text}`);
  }
  return lines.join('\n');
}

function summary({decoded, note}) {
  const inner = decoded?.fields ?? decoded;
  const text =
    inner === undefined
      ? ''
      : typeof inner === 'object'
        ? Object.entries(inner)
            .map(([name, value]) => `${name}=${typeof value === 'object' ? JSON.stringify(value) : value}`)
            .join(' ')
        : String(inner);
  return (note ? `(${note}) ` : '') + text.slice(0, 200);
}

const searched = frame =>
  [frame.kind, frame.name, frame.id, frame.mac, summary(frame), JSON.stringify(frame.decoded)]
    .join(' ')
    .toLowerCase();

function row(frame) {
  const name = frame.name ? `${frame.id ?? ''} ${frame.name}`.trim() : '';
  const bad = isWrong(frame);
  const details = h(
    'details',
    {
      class: `frame ${frame.way} ${bad ? 'wrong' : ''}`,
      'data-kind': frame.kind,
      'data-key': frame.key,
    },
    h(
      'summary',
      {},
      h('time', {}, clock(frame.time)),
      h(
        'b',
        {class: 'way', title: frame.way === 'up' ? 'from the agent' : 'to the agent'},
        frame.way === 'up' ? '↑' : '↓',
        h('span', {class: 'hidden'}, frame.way === 'up' ? ' from the agent' : ' to the agent'),
      ),
      h('span', {class: 'side'}, frame.side === 'peer' ? 'peer' : ''),
      h('span', {class: 'what'}, bad ? '✕ ' : '', frame.kind, name ? h('strong', {}, ` ${name}`) : ''),
      h('span', {class: 'say'}, summary(frame)),
    ),
  );
  details.addEventListener('toggle', () => {
    if (!details.open || details.querySelector('.inside')) return;
    details.append(
      h(
        'div',
        {class: 'inside'},
        h(
          'p',
          {class: 'muted'},
          [frame.mac, `connection ${frame.link}`, frame.hex && `${frame.hex.length / 2} bytes`]
            .filter(Boolean)
            .join(', '),
        ),
        frame.note && h('p', {class: bad ? 'bad' : 'muted'}, frame.note),
        frame.decoded !== undefined && table(frame.decoded),
        frame.hex && h('pre', {class: 'hex'}, dump(frame.hex)),
      ),
    );
  });
  return details;
}

export function frames(pane) {
  const search = h('input', {
    type: 'search',
    placeholder: 'Filter: name, MAC, value',
    'aria-label': 'Filter the frames',
  });
  const choice = (label, ...options) =>
    h(
      'select',
      {'aria-label': label},
      options.map(([value, text]) => h('option', {value}, text)),
    );
  const way = choice('Direction', ['', '↑↓ both ways'], ['up', '↑ from the agent'], ['down', '↓ to the agent']);
  const side = choice('Link', ['', 'both links'], ['platform', 'platform'], ['peer', 'local peer']);
  const routine = h('input', {type: 'checkbox'});
  const pause = h('button', {type: 'button', 'aria-pressed': 'false'}, 'Pause');
  const count = h('span', {class: 'muted', 'aria-live': 'off'});
  const list = h('div', {
    class: 'list',
    tabindex: '0',
    role: 'log',
    'aria-live': 'off',
    'aria-label': 'Frames, newest first',
  });
  const empty = h('p', {class: 'empty'}, 'No frames yet. They appear here as they come, both ways.');
  let cleared = 0;

  const wanted = frame =>
    (routine.checked || !kRoutine.includes(frame.kind)) &&
    (!way.value || frame.way === way.value) &&
    (!side.value || frame.side === side.value) &&
    (!search.value || searched(frame).includes(search.value.toLowerCase()));
  const paused = () => pause.getAttribute('aria-pressed') === 'true';
  const tell = () => {
    count.textContent = `${list.childElementCount} shown of ${bench.frames.length - cleared}`;
    empty.hidden = list.childElementCount > 0;
    empty.textContent =
      bench.frames.length > cleared
        ? 'No frame passes the filter.'
        : 'No frames yet. They appear here as they come, both ways.';
  };
  const redraw = () => {
    list.replaceChildren(
      ...bench.frames
        .slice(cleared)
        .filter(wanted)
        .slice(-kShown)
        .reverse()
        .map(row),
    );
    tell();
  };
  const waiting = [];
  const flush = () => {
    for (const frame of waiting.splice(0)) if (wanted(frame)) list.prepend(row(frame));
    while (list.childElementCount > kShown) list.lastChild.remove();
    tell();
  };
  on('frame', frame => {
    if (paused()) return;
    if (waiting.push(frame) === 1) setTimeout(flush, 50);
  });
  on('clear', () => {
    cleared = 0;
    redraw();
  });
  for (const control of [search, way, side, routine]) control.addEventListener('input', redraw);
  pause.addEventListener('click', () => {
    pause.setAttribute('aria-pressed', String(!paused()));
    pause.textContent = paused() ? 'Resume' : 'Pause';
    if (!paused()) redraw();
  });
  const clear = h(
    'button',
    {
      type: 'button',
      onclick: () => {
        cleared = bench.frames.length;
        redraw();
      },
    },
    'Clear',
  );
  pane.append(
    h(
      'div',
      {class: 'tools'},
      h('h2', {}, 'Frames'),
      count,
      h('div', {class: 'grow'}, search),
      way,
      side,
      h('label', {class: 'check'}, routine, 'routine'),
      pause,
      clear,
    ),
    empty,
    list,
  );
  tell();
}
