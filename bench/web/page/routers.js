// The routers: the agent's state and its life line, what the router is, and how the platform answers.
import {act, bench, on} from '/bench.js';
import {outcome} from '/answer.js';
import {card, draw, field, form, h, s, submit} from '/dom.js';
import {isWrong} from '/frames.js';

const kSpan = 5 * 60 * 1000; // that a life line shows
const kStates = {
  '001': ['registering', 'warn'],
  '002': ['registered', 'warn'],
  '003': ['logged in', 'good'],
  '004': ['an update is ready', 'warn'],
  104: ['an update failed', 'bad'],
  '005': ['disconnected by the platform', 'bad'],
  101: ['registration failed', 'bad'],
  102: ['fatal', 'bad'],
  103: ['link lost', 'bad'],
};

/** The times at which an agent's state changed, and its marks: [{time, state}], [{time, kind}]. */
function life(mac) {
  const changes = [];
  const marks = [];
  let login; // the connection
  for (const frame of bench.frames) {
    const {kind, time, mac: of, link, way, side, decoded} = frame;
    if (of !== mac || side !== 'platform') continue;
    if (kind === 'register') changes.push({time, state: 'registering'});
    if (kind === 'login ack' && decoded.code === 0) {
      changes.push({time, state: 'in'});
      login = link;
    }
    if (kind === 'closed' && link === login) changes.push({time, state: 'away'});
    if (kind === 'heartbeat' || kind.endsWith('report')) marks.push({time, kind: kind.split(' ').at(-1)});
    else if (way === 'up' && isWrong(frame)) marks.push({time, kind: 'wrong'});
  }
  return {changes, marks};
}

const kHeights = {in: 14, registering: 8, away: 2};
const kWords = {in: 'logged in', registering: 'registering', away: 'away'};

function lifeLine(mac) {
  const now = Date.now();
  const x = time => Math.max(0, (1000 * (time - now + kSpan)) / kSpan);
  const {changes, marks} = life(mac);
  const parts = changes.map(({time, state}, at) => {
    const from = x(time);
    const to = x(changes[at + 1]?.time ?? now);
    return (
      to > 0 &&
      s('rect', {
        x: from,
        width: Math.max(1, to - from),
        y: 20 - kHeights[state] / 2,
        height: kHeights[state],
        class: `life-${state}`,
      })
    );
  });
  const seen = marks.filter(({time}) => time > now - kSpan);
  const last = changes.at(-1);
  const told = last ? `${kWords[last.state]} for ${duration(now - last.time)}, ` : '';
  return s(
    'svg',
    {
      viewBox: '0 0 1000 40',
      preserveAspectRatio: 'none',
      class: 'life',
      role: 'img',
      'aria-label': `Life line: ${told}${seen.filter(({kind}) => kind === 'heartbeat').length} heartbeats`,
    },
    s('line', {x1: 0, x2: 1000, y1: 20, y2: 20, class: 'life-axis'}),
    parts,
    seen.map(({time, kind}) =>
      s('line', {
        x1: x(time),
        x2: x(time),
        y1: kind === 'heartbeat' ? 8 : 2,
        y2: kind === 'heartbeat' ? 32 : 38,
        class: `mark-${kind}`,
      }),
    ),
  );
}

export function duration(time) {
  const seconds = Math.max(0, Math.round(time / 1000));
  const two = number => String(number).padStart(2, '0');
  return seconds >= 3600
    ? `${Math.floor(seconds / 3600)}:${two(Math.floor(seconds / 60) % 60)}:${two(seconds % 60)}`
    : `${Math.floor(seconds / 60)}:${two(seconds % 60)}`;
}

function process({process, status}) {
  if (process === null)
    return [
      h(
        'p',
        {class: 'muted'},
        'No agent was started here yet. Start one over the simulated router, or let one register from elsewhere.',
      ),
    ];
  const [words, tone] = kStates[status] ?? [status || 'no status yet', 'warn'];
  const state = process.running
    ? h('span', {class: `pill ${tone}`}, tone === 'good' ? '● ' : '◐ ', words)
    : h('span', {class: 'pill bad'}, `○ ended with status ${process.exit}`);
  return [
    h(
      'p',
      {class: 'line'},
      state,
      h(
        'span',
        {class: 'muted'},
        `status file: ${status || 'none'}`,
        !process.running && status in kStates ? ` (${kStates[status][0]})` : '',
      ),
    ),
  ];
}

function row(agent) {
  const line = h('div', {class: 'life-box', 'data-mac': agent.mac});
  return h(
    'article',
    {class: 'router'},
    h(
      'h4',
      {},
      agent.mac,
      h('span', {class: `pill ${agent.logged_in ? 'good' : 'bad'}`}, agent.logged_in ? '● logged in' : '○ away'),
    ),
    line,
    h('p', {class: 'scale', 'aria-hidden': 'true'}, h('span', {}, '5 minutes ago'), h('span', {}, 'now')),
    h(
      'dl',
      {class: 'values wide'},
      Object.entries({
        serial: agent.serial,
        PIN: agent.pin,
        peer: agent.peer || 'none',
        registrations: agent.registrations,
        logins: agent.logins,
        heartbeats: agent.heartbeats,
      }).map(([name, value]) => h('div', {}, h('dt', {}, name), h('dd', {}, String(value)))),
    ),
  );
}

function home(router) {
  if (!router) return h('p', {class: 'muted'}, 'The simulated router writes its state when its agent starts.');
  const {name, model, vendor, version, serial_number} = router.router ?? {};
  return h(
    'dl',
    {class: 'values'},
    Object.entries({
      name,
      model,
      vendor,
      version,
      serial: serial_number,
      address: router.lan?.address,
      devices: `${router.devices?.filter(device => device.online).length} online of ${router.devices?.length}`,
    }).map(([key, value]) => [h('dt', {}, key), h('dd', {}, String(value ?? ''))]),
    Object.entries(router.switches ?? {}).map(([key, value]) => [
      h('dt', {}, key.replaceAll('_', ' ')),
      h('dd', {}, value ? '● on' : '○ off'),
    ]),
  );
}

export function routers(section) {
  const agents = h('div', {class: 'stack'});
  const here = h('div', {});
  const box = h('div', {});
  const listening = h('p', {class: 'muted'});
  const log = h('div', {});
  const button = (line, text) => h('button', {type: 'button', onclick: () => act(line)}, text);
  const start = button('start-agent', 'Start agent');
  const stop = button('stop-agent', 'Stop agent');
  section.append(
    card(
      'Routers',
      listening,
      agents,
      h(
        'p',
        {class: 'legend muted', 'aria-hidden': 'true'},
        [
          ['in', 'logged in'],
          ['registering', 'registering'],
          ['away', 'away'],
          ['heartbeat', 'heartbeat'],
          ['report', 'report'],
        ].map(([key, text]) => h('span', {}, h('i', {class: `key ${key}`}), text)),
      ),
    ),
    h(
      'div',
      {class: 'columns'},
      card(
        'The agent started here',
        here,
        h(
          'div',
          {class: 'buttons'},
          start,
          stop,
          h(
            'button',
            {type: 'button', onclick: async () => log.replaceChildren(outcome(await act('agent-log')))},
            'Show its log',
          ),
        ),
        log,
      ),
      card('The simulated router', box),
    ),
    card('How the platform answers', h('p', {class: 'muted'}, 'What is left empty stays as it is.'), behaviour()),
  );

  on('state', state => {
    draw(agents, state.agents, list =>
      list.length > 0 ? list.map(row) : h('p', {class: 'empty'}, 'No router has registered yet.'),
    );
    listening.textContent =
      `Agents register at ${state.platform.listen} port ${state.platform.register_port} ` +
      `(login port ${state.platform.login_port}), heartbeat ${state.platform.interval} s.`;
    draw(here, {process: state.process, status: state.status}, process);
    const running = state.process?.running ?? false;
    start.disabled = running;
    stop.disabled = !running;
    start.classList.toggle('main', !running);
    draw(box, state.router && {...state.router, devices: state.router.devices.map(({online}) => ({online}))}, home);
    tick();
  });
  const tick = () => {
    if (section.hidden) return;
    for (const place of agents.querySelectorAll('.life-box')) place.replaceChildren(lifeLine(place.dataset.mac));
  };
  setInterval(tick, 1000);
}

function behaviour() {
  const choice = (name, ...values) =>
    h(
      'select',
      {name},
      h('option', {value: ''}, ''),
      values.map(value => h('option', {}, value)),
    );
  const answer = h('div', {});
  return [
    form(
      async values => {
        const words = Object.entries(values)
          .filter(([, value]) => value !== '')
          .map(([name, value]) => `${name}=${value}`);
        answer.replaceChildren(outcome(await act(['behave', ...words].join(' '))));
      },
      h(
        'div',
        {class: 'fields'},
        field(
          'Heartbeat interval',
          h('input', {name: 'interval', type: 'number', min: 1, max: 65535, placeholder: 'seconds'}),
        ),
        field('Heartbeats answered', choice('heartbeats', 'on', 'off')),
        field('Registrations', choice('register', 'accept', 'silent', 'empty', 'refuse', 'close')),
        field('Logins', choice('login', 'accept', 'silent', 'empty', 'refuse', 'close')),
        field(
          'Delay of an ack',
          h('input', {name: 'delay', type: 'number', min: 0, step: 'any', placeholder: 'seconds'}),
        ),
        field('New connections', choice('listen', 'on', 'off')),
      ),
      h('div', {class: 'buttons'}, submit('Change')),
    ),
    answer,
  ];
}
