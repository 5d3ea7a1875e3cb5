// Ping, traceroute, and the download rate on a gauge.
import {orderCard, outcome} from '/answer.js';
import {bench, on, order, quote} from '/bench.js';
import {card, field, form, h, s, submit} from '/dom.js';

const kLeast = 4; // powers of ten that the gauge shows: 10 kB/s ..
const kMost = 9; // .. 1 GB/s

const kWords = {button: 'Start', meanwhile: 'runs'};

const point = (part, radius) => {
  const angle = Math.PI * (1 - part);
  return `${(120 + radius * Math.cos(angle)).toFixed(1)} ${(120 - radius * Math.sin(angle)).toFixed(1)}`;
};
const arc = (from, to) => `M ${point(from, 96)} A 96 96 0 0 1 ${point(to, 96)}`;

function place(rate) {
  return rate > 0 ? Math.min(1, Math.max(0, (Math.log10(rate) - kLeast) / (kMost - kLeast))) : 0;
}

export function rateText(rate) {
  for (const [unit, size] of [
    ['GB/s', 1e9],
    ['MB/s', 1e6],
    ['kB/s', 1e3],
  ])
    if (rate >= size) return `${(rate / size).toFixed(rate / size < 10 ? 2 : 1)} ${unit}`;
  return `${rate} B/s`;
}

/** null: not measured yet; below 0: it failed. */
function gauge(rate) {
  const said = rate === null ? 'not measured yet' : rate < 0 ? 'no rate: the download failed' : rateText(rate);
  return s(
    'svg',
    {viewBox: '0 0 240 150', class: 'gauge', role: 'img', 'aria-label': `Download rate: ${said}`},
    s('path', {d: arc(0, 1), class: 'gauge-all'}),
    rate > 0 && s('path', {d: arc(0, Math.max(0.005, place(rate))), class: 'gauge-part'}),
    ['10k', '100k', '1M', '10M', '100M', '1G'].map((text, at, all) => {
      const end = at === 0 || at === all.length - 1;
      const [x, y] = point(at / (all.length - 1), end ? 96 : 74)
        .split(' ')
        .map(Number);
      return s('text', {x, y: end ? y + 18 : y, class: 'gauge-mark'}, text);
    }),
    s('text', {x: 120, y: 114, class: 'gauge-value'}, rate === null ? '–' : rate < 0 ? 'failed' : rateText(rate)),
    s('text', {x: 120, y: 138, class: 'gauge-mark'}, 'download'),
  );
}

function rate() {
  const shown = h('div', {}, gauge(null));
  const answer = h('div', {});
  const url = h('input', {name: 'url', type: 'url', placeholder: 'http://…'});
  const from = h(
    'select',
    {name: 'from'},
    h('option', {value: 'bench'}, 'this bench'),
    h('option', {value: 'url'}, 'a URL'),
    h('option', {value: 'default'}, 'the default server'),
  );
  const size = h('input', {name: 'size', type: 'number', min: 1, max: 1000, value: 20});
  const seconds = h('input', {name: 'seconds', type: 'number', min: 0, max: 60, value: 2});
  const boxes = {
    url: [field('URL', url)],
    bench: [field('Size', size, 'megabytes'), field('Takes', seconds, 'seconds, 0 as fast as it can')],
    default: [],
  };
  const choose = () => {
    for (const [name, parts] of Object.entries(boxes)) for (const part of parts) part.hidden = name !== from.value;
    url.required = from.value === 'url';
  };
  from.addEventListener('input', choose);
  choose();
  on('frame', ({name, decoded, side, way}) => {
    if (side === 'platform' && way === 'up' && name === 'rate')
      shown.replaceChildren(gauge(decoded?.fields?.rate ?? -1));
  });
  const bar = h('progress', {max: 100, hidden: true, 'aria-label': 'Downloaded'});
  on('state', ({download, busy}) => {
    bar.hidden = !(busy ?? '').startsWith('rate');
    if (from.value === 'bench' && download.size) bar.value = (100 * download.sent) / download.size;
    else bar.removeAttribute('value');
  });
  return card(
    'Download rate',
    h('p', {class: 'muted'}, 'The agent downloads a file and reports how fast that was.'),
    h(
      'div',
      {class: 'rate'},
      shown,
      form(
        async values => {
          answer.replaceChildren(h('p', {class: 'muted'}, '… measures'));
          answer.replaceChildren(outcome(await order(await lineOf(values))));
        },
        h('div', {class: 'fields'}, field('From', from), boxes.url, boxes.bench),
        h('div', {class: 'buttons'}, submit('Measure')),
        bar,
      ),
    ),
    answer,
  );
}

async function lineOf({from, url, size, seconds}) {
  if (from === 'default') return 'rate';
  if (from === 'url') return `rate ${quote(url)}`;
  const served = await order('http serve /proc/self/exe');
  const slow = Number(seconds) > 0 ? `&slow=${seconds}` : '';
  return served.failed ? 'rate' : `rate ${served.answers[0].url}?size=${Math.round(size * 1e6)}${slow}`;
}

export function diagnostics(section) {
  const address = () =>
    h('input', {
      name: 'address',
      required: true,
      value: '127.0.0.1',
      pattern: '\\d+\\.\\d+\\.\\d+\\.\\d+',
      inputmode: 'decimal',
    });
  section.append(
    rate(),
    h(
      'div',
      {class: 'columns'},
      orderCard(
        'Ping',
        'The router pings an address.',
        [
          field('Address', address()),
          field('Size', h('input', {name: 'size', type: 'number', min: 1, max: 65507, value: 56}), 'bytes'),
          field('Count', h('input', {name: 'count', type: 'number', min: 1, max: 100, value: 4})),
        ],
        kWords,
        ({address: to, size, count}) => `ping ${quote(to)} ${size} ${count}`,
      ),
      orderCard(
        'Traceroute',
        'The router traces the way to an address, for some seconds.',
        [
          field('Address', address()),
          field('For', h('input', {name: 'seconds', type: 'number', min: 1, max: 120, value: 5}), 'seconds'),
        ],
        kWords,
        ({address: to, seconds}) => `traceroute ${quote(to)} ${seconds}`,
      ),
    ),
  );
}
