// Updates of the agent and of the router, and how far one has come.
import {orderCard, outcome} from '/answer.js';
import {bench, named, on, order, quote} from '/bench.js';
import {card, draw, field, form, h, submit} from '/dom.js';

/** What has happened since the update was ordered at `since`. */
function steps(since, {status, process, download}) {
  const later = bench.frames.filter(({time, side}) => time >= since && side === 'platform');
  const report = later.find(({name, way}) => name === 'update-progress' && way === 'up');
  const result = report?.decoded?.fields?.result;
  const sent = download.size > 0 ? Math.round((100 * download.sent) / download.size) : 0;
  return [
    ['ordered', later.some(({kind}) => kind === 'plug command') ? 'done' : 'open', ''],
    ['downloaded', report ? (result === 0 ? 'done' : 'failed') : 'runs', report ? '' : `${sent} %`],
    ['reported', report ? (result === 0 ? 'done' : 'failed') : 'open', report ? `result ${result}` : ''],
    [
      'ready for the supervisor',
      status === '004' ? 'done' : status === '104' ? 'failed' : 'open',
      status ? `status ${status}` : '',
    ],
    [
      'the agent has ended',
      process && !process.running ? 'done' : 'open',
      process && !process.running ? 'start it again in Router' : '',
    ],
  ];
}

const kMarks = {done: '✓', failed: '✕', runs: '◐', open: '○'};

function progress(shown) {
  if (!shown) return h('p', {class: 'empty'}, 'No update was ordered from this page.');
  return [
    h(
      'ol',
      {class: 'steps'},
      shown.steps.map(([name, state, note]) =>
        h(
          'li',
          {class: state},
          h('b', {'aria-label': state}, kMarks[state]),
          ' ',
          name,
          note ? h('small', {class: 'muted'}, ` ${note}`) : null,
        ),
      ),
    ),
    h('progress', {max: 100, value: shown.sent, 'aria-label': 'Downloaded'}),
  ];
}

/** `take` gets the URL of what is served. */
function server(take) {
  const answer = h('div', {});
  return card(
    'The file',
    h(
      'p',
      {class: 'muted'},
      'Served over HTTP by this bench; the orders below then have its URL. They take its length and MD5 from it. Without a file of one’s own, this bench’s program will do.',
    ),
    form(
      async ({path, port}) => {
        const served = await order(`http serve ${quote(path)} ${port}`);
        answer.replaceChildren(outcome(served));
        if (!served.failed) take(served.answers[0].url);
      },
      h(
        'div',
        {class: 'fields'},
        field('Path on this machine', h('input', {name: 'path', required: true, value: '/proc/self/exe'})),
        field('Port', h('input', {name: 'port', type: 'number', min: 0, max: 65535, value: 8080})),
      ),
      h(
        'div',
        {class: 'buttons'},
        submit('Serve'),
        h(
          'button',
          {type: 'button', onclick: async () => answer.replaceChildren(outcome(await order('http requests')))},
          'Requests',
        ),
        h(
          'button',
          {type: 'button', onclick: async () => answer.replaceChildren(outcome(await order('http stop')))},
          'Stop',
        ),
      ),
    ),
    answer,
  );
}

function ordering(title, help, command, began) {
  const completions = bench.commands.commands.find(({name}) => name === command).completions;
  const fields = completions
    .map(completion => completion.replace(/=$/, ''))
    .map(key =>
      field(key, h('input', {name: key, placeholder: key === 'url' ? 'none: only announced' : 'as usual', value: ''})),
    );
  return orderCard(title, help, fields, {button: 'Order', meanwhile: 'waits for the report'}, values => {
    began(values.url ? Date.now() : null);
    return `${command} ${named(values)}`.trim();
  });
}

export function updates(section) {
  const place = h('div', {});
  let since = null;
  const show = state => {
    if (!state) return;
    const {download} = state;
    draw(
      place,
      since && {steps: steps(since, state), sent: download.size ? (100 * download.sent) / download.size : 0},
      progress,
    );
  };
  on('state', show);
  on('frame', () => show(bench.state));
  section.append(
    h(
      'div',
      {class: 'columns'},
      server(url => {
        for (const input of section.querySelectorAll('input[name=url]')) input.value = url;
      }),
      card('Progress', place),
    ),
    ordering(
      'The agent',
      'Announces a version, or with a URL has it installed: the agent downloads it, reports, and ends for its supervisor.',
      'plug-update',
      at => {
        since = at;
        show(bench.state);
      },
    ),
    ordering(
      'The router',
      'Announces a firmware, or with a URL hands the order to the local peer.',
      'firmware-order',
      () => {},
    ),
  );
}
