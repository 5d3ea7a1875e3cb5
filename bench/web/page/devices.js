// The devices of the home: who is here, who may go out, how fast; each switched where it stands.
import {act, devices as known, named, on, quote} from '/bench.js';
import {card, draw, field, form, h, submit, toggle} from '/dom.js';

const kLinks = ['cable', 'Wi-Fi'];
const kBands = ['', '2.4 GHz', '5 GHz'];

function rate(bytes) {
  if (!bytes) return '0';
  const step = Math.min(3, Math.floor(Math.log10(bytes) / 3));
  return `${(bytes / 1000 ** step).toFixed(step && bytes / 1000 ** step < 10 ? 1 : 0)} ${['B', 'kB', 'MB', 'GB'][step]}/s`;
}

function limits(device) {
  const set = form(
    ({up, down}) =>
      act(Number(up) || Number(down) ? `limit ${device.mac} ${up || 0} ${down || 0}` : `limit clear ${device.mac}`),
    h('input', {
      name: 'up',
      type: 'number',
      min: 0,
      value: device.up_limit,
      'aria-label': `Limit up of ${device.name}`,
      'data-key': `${device.mac} up`,
    }),
    h('span', {'aria-hidden': 'true'}, '/'),
    h('input', {
      name: 'down',
      type: 'number',
      min: 0,
      value: device.down_limit,
      'aria-label': `Limit down of ${device.name}`,
      'data-key': `${device.mac} down`,
    }),
    h(
      'button',
      {
        type: 'submit',
        class: 'small',
        'data-key': `${device.mac} limit`,
        'aria-label': `Set the limits of ${device.name}`,
      },
      'Set',
    ),
  );
  set.className = 'limits';
  return set;
}

function row({device, barred}) {
  const {mac, name, online, access} = device;
  const wireless = device.link ? `${kLinks[1]} ${kBands[device.band] ?? ''}` : kLinks[0];
  const cell = (label, ...content) => h('td', {'data-label': label}, content);
  return h(
    'tr',
    {'data-mac': mac},
    h(
      'th',
      {scope: 'row'},
      h('span', {class: 'name'}, name || 'without a name'),
      h('small', {class: 'muted'}, mac),
      h('small', {class: 'muted'}, `${device.address}, ${wireless}`),
    ),
    cell(
      'Online',
      toggle(`${mac} online`, `${name} online`, online, ['here', 'away'], () =>
        act(`device set ${mac} online=${online ? 'off' : 'on'}`),
      ),
    ),
    cell(
      'Internet',
      toggle(`${mac} access`, `${name} may use the internet`, access, ['allowed', 'barred'], () =>
        act(`device-access-set mac=${mac} access=${access ? 'off' : 'on'}`),
      ),
      barred ? h('small', {}, h('a', {href: '#windows'}, barred === 1 ? '1 window' : `${barred} windows`)) : null,
    ),
    cell(
      'Limits up / down',
      limits(device),
      h('small', {class: 'muted'}, `now ${rate(device.up_bandwidth)} / ${rate(device.down_bandwidth)}`),
    ),
    h(
      'td',
      {class: 'last'},
      h(
        'button',
        {
          type: 'button',
          class: 'small quiet',
          'data-key': `${mac} remove`,
          'aria-label': `Take ${name} out of the home`,
          title: 'Take it out of the home',
          onclick: () => act(`device remove ${mac}`),
        },
        '✕',
      ),
    ),
  );
}

export function devices(section) {
  const body = h('tbody', {});
  const lives = h('span', {});
  const empty = h(
    'p',
    {class: 'empty'},
    'No devices: the simulated router has none, or no agent was started here yet.',
  );
  const table = h(
    'table',
    {class: 'devices'},
    h(
      'thead',
      {},
      h(
        'tr',
        {},
        ['Device', 'Online', 'Internet', 'Limits up / down', ''].map(text => h('th', {scope: 'col'}, text)),
      ),
    ),
    body,
  );
  section.append(
    card(
      'In the home',
      h(
        'p',
        {class: 'muted'},
        'Online and new devices are the simulated router’s; access and limits are commands to the agent. A limit of 0 is none.',
      ),
      h(
        'div',
        {class: 'buttons'},
        h('button', {type: 'button', onclick: () => act('scan')}, 'Scan'),
        h('button', {type: 'button', onclick: tellPeer}, 'Let the local peer tell of them'),
        lives,
      ),
      h('div', {class: 'scroll'}, table),
      empty,
    ),
    card(
      'A new device',
      form(
        async ({mac, ...values}, element) => {
          const {failed} = await act(`device add ${quote(mac)} ${named(values)}`);
          if (!failed) element.reset();
        },
        h(
          'div',
          {class: 'fields'},
          field(
            'MAC',
            h('input', {
              name: 'mac',
              required: true,
              pattern: '([0-9A-Fa-f]{2}[:\\-]?){5}[0-9A-Fa-f]{2}',
              placeholder: '02:00:00:00:00:01',
            }),
          ),
          field('Name', h('input', {name: 'name', maxlength: 31, placeholder: 'new-device'})),
          field('Address', h('input', {name: 'address', placeholder: 'a free one'})),
          field(
            'Band',
            h(
              'select',
              {name: 'band', value: '2'},
              h('option', {value: '1'}, '2.4 GHz'),
              h('option', {value: '2'}, '5 GHz'),
            ),
          ),
        ),
        h('div', {class: 'buttons'}, submit('Add')),
      ),
    ),
  );
  on('state', ({router, windows, home}) => {
    draw(lives, home, on =>
      toggle('home', 'The home lives', on, ['the home lives', 'the home stands still'], () =>
        act(`home ${on ? 'off' : 'on'}`),
      ),
    );
    const list = (router?.devices ?? []).map(device => ({
      device,
      barred: windows.filter(({mac}) => mac === device.mac).length,
    }));
    draw(body, list, all => all.map(row));
    table.hidden = list.length === 0;
    empty.hidden = list.length > 0;
  });
}

function tellPeer() {
  const words = known().map(({mac, name, online}) => `${mac} ${quote(name || mac)}${online ? '' : ' offline'}`);
  return act(`peer devices ${words.join(' ')}`);
}
