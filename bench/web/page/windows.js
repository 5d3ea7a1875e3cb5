// The week's access windows: days by hours, a bar a device; drawn, added, changed and removed here.
import {act, bench, devices, deviceName, on} from '/bench.js';
import {card, draw, field, form, h, submit} from '/dom.js';

export const kDays = ['Monday', 'Tuesday', 'Wednesday', 'Thursday', 'Friday', 'Saturday', 'Sunday'];
const kDay = 24 * 60;
const kSunday = 7;
const kStep = 15; // minutes, of what is drawn with the pointer

const minutes = text => {
  const [hour, minute] = text.split(':').map(Number);
  return hour * 60 + minute;
};
const clock = minute => `${String(Math.floor(minute / 60)).padStart(2, '0')}:${String(minute % 60).padStart(2, '0')}`;
const percent = minute => `${(100 * minute) / kDay}%`;
const dayNames = days => [...days].map(day => kDays[day - 1]?.slice(0, 3) ?? day).join(' ');
const words = ({mac, days, start, stop}) => `${mac} ${days} ${start} ${stop}`;
const never = ({start, stop}) => minutes(stop) < minutes(start);

function track(day, shown, edit) {
  const windows = shown.windows.filter(window => window.days.includes(String(day)) && !never(window));
  const lanes = [...new Set(windows.map(({mac}) => mac))];
  const today = shown.clock.day === day;
  const bars = windows.map(window => {
    const lane = lanes.indexOf(window.mac);
    const hue = shown.macs.indexOf(window.mac) % 6;
    const from = minutes(window.start);
    const name = deviceName(window.mac);
    const said = `${name} is barred on ${kDays[day - 1]} from ${window.start} to ${window.stop}${day === kSunday ? ', which is never applied' : ''}`;
    return h(
      'button',
      {
        type: 'button',
        class: `bar hue${hue}`,
        'data-key': `${day} ${words(window)}`,
        title: said,
        'aria-label': said,
        style: {left: percent(from), width: percent(minutes(window.stop) - from + 1), top: `${4 + lane * 26}px`},
        onclick: () => edit(window),
      },
      name,
    );
  });
  return h(
    'div',
    {class: `day ${today ? 'today' : ''} ${day === kSunday ? 'never' : ''}`, 'data-day': day},
    h(
      'span',
      {class: 'day-name'},
      kDays[day - 1],
      today ? h('small', {}, `today, ${clock(shown.clock.minute)}`) : null,
    ),
    h(
      'div',
      {class: 'track', style: {height: `${8 + Math.max(1, lanes.length) * 26}px`}},
      bars,
      day === kSunday ? h('span', {class: 'never-word'}, 'never applied') : null,
      today
        ? h('i', {class: 'now', title: `now, ${clock(shown.clock.minute)}`, style: {left: percent(shown.clock.minute)}})
        : null,
    ),
  );
}

function chart(shown, edit) {
  return [
    h(
      'div',
      {class: 'hours', 'aria-hidden': 'true'},
      [0, 3, 6, 9, 12, 15, 18, 21, 24].map(hour => h('span', {style: {left: percent(hour * 60)}}, String(hour))),
    ),
    kDays.map((_, at) => track(at + 1, shown, edit)),
  ];
}

/** Lets the pointer draw a window on a free part of a day. */
function drawable(place, begin) {
  place.addEventListener('pointerdown', event => {
    const line = event.target.closest('.track');
    if (!line || event.target.closest('.bar')) return;
    const box = line.getBoundingClientRect();
    const at = x => Math.round((Math.min(1, Math.max(0, (x - box.left) / box.width)) * kDay) / kStep) * kStep;
    const from = at(event.clientX);
    const ghost = h('i', {class: 'ghost'});
    line.append(ghost);
    const span = x => {
      const to = at(x);
      return to === from ? [from, from + 60] : [Math.min(from, to), Math.max(from, to)];
    };
    const move = ({clientX}) => {
      const [left, right] = span(clientX);
      ghost.style.left = percent(left);
      ghost.style.width = percent(right - left);
    };
    move(event);
    const end = ({clientX, type}) => {
      removeEventListener('pointermove', move);
      for (const kind of ['pointerup', 'pointercancel']) removeEventListener(kind, end);
      ghost.remove();
      const [start, stop] = span(clientX).map(minute => Math.min(minute, kDay - 1));
      if (type === 'pointerup') begin({days: line.parentElement.dataset.day, start: clock(start), stop: clock(stop)});
    };
    addEventListener('pointermove', move);
    for (const kind of ['pointerup', 'pointercancel']) addEventListener(kind, end);
  });
}

function editor() {
  const device = h('select', {name: 'mac', class: 'broad', required: true});
  const chips = kDays.map((name, at) =>
    h('label', {class: 'chip'}, h('input', {type: 'checkbox', name: 'day', value: String(at + 1)}), name.slice(0, 3)),
  );
  const boxes = chips.map(chip => chip.firstChild);
  // No input of the type "time": it shows mornings and afternoons where the browser does.
  const time = (name, value) =>
    h('input', {
      name,
      required: true,
      value,
      inputmode: 'numeric',
      maxlength: 5,
      autocomplete: 'off',
      pattern: '([01]?\\d|2[0-3]):[0-5]\\d',
      title: 'As 8:30 or 23:59',
      placeholder: '23:59',
    });
  const start = time('start', '20:00');
  const stop = time('stop', '21:30');
  const title = h('h3', {});
  const remove = h(
    'button',
    {
      type: 'button',
      class: 'bad',
      onclick: async () => {
        await act(`window remove ${words(changed)}`);
        set(null);
      },
    },
    'Remove',
  );
  const cancel = h('button', {type: 'button', onclick: () => set(null)}, 'Cancel');
  const save = submit('');
  let changed = null;

  const choose = days => {
    for (const box of boxes) box.checked = days.includes(box.value);
  };
  const check = () => {
    boxes[0].setCustomValidity(boxes.some(box => box.checked) ? '' : 'Choose a day.');
    stop.setCustomValidity(
      start.value && stop.value && minutes(stop.value) < minutes(start.value)
        ? 'A window ends on the day on which it begins. Make two: one until 23:59, one from 00:00.'
        : '',
    );
  };
  /** Of a window: it is changed; without one: a new one. */
  function set(window, preset) {
    changed = window;
    title.textContent = window ? 'Change the window' : 'A new window';
    save.textContent = window ? 'Change' : 'Add';
    remove.hidden = cancel.hidden = !window;
    const shown = window ?? preset;
    if (shown) {
      if (shown.mac) device.value = shown.mac;
      choose(shown.days);
      start.value = clock(minutes(shown.start));
      stop.value = clock(minutes(shown.stop));
      element.scrollIntoView({block: 'nearest'});
      start.focus();
    }
    check();
  }
  const every = (text, days) =>
    h(
      'button',
      {
        type: 'button',
        class: 'small quiet',
        onclick: () => {
          choose(days);
          check();
        },
      },
      text,
    );
  const element = form(
    async () => {
      const line = `${device.value} ${boxes
        .filter(box => box.checked)
        .map(box => box.value)
        .join('')} ${start.value} ${stop.value}`;
      if (changed && (await act(`window remove ${words(changed)}`)).failed) return;
      if (!(await act(`window add ${line}`)).failed) set(null);
    },
    h('div', {class: 'fields'}, field('Device', device), field('From', start), field('To, inclusive', stop)),
    h(
      'fieldset',
      {},
      h('legend', {}, 'Days'),
      h('div', {class: 'chips'}, chips, every('Weekdays', '12345'), every('Weekend', '67'), every('All', '1234567')),
    ),
    h('div', {class: 'buttons'}, save, remove, cancel),
  );
  element.addEventListener('input', check);
  set(null);
  return {
    set,
    title,
    element,
    offer(list) {
      draw(device, list, all =>
        all.length
          ? all.map(({mac, name}) => h('option', {value: mac}, `${name} (${mac})`))
          : h('option', {value: ''}, 'no device yet'),
      );
    },
  };
}

function list(windows, edit) {
  if (windows.length === 0)
    return h('p', {class: 'empty'}, 'No windows were set here. Draw one on a day, or fill in the form.');
  return h(
    'ul',
    {class: 'plain'},
    windows.map(window =>
      h(
        'li',
        {},
        h(
          'span',
          {},
          h('strong', {}, deviceName(window.mac)),
          ` ${dayNames(window.days)}, ${window.start} to ${window.stop}`,
          never(window) ? h('em', {class: 'warn'}, ' ⚠ never applies: it ends before it begins') : null,
        ),
        h(
          'span',
          {class: 'buttons'},
          h(
            'button',
            {type: 'button', class: 'small', 'data-key': `edit ${words(window)}`, onclick: () => edit(window)},
            'Change',
          ),
          h(
            'button',
            {
              type: 'button',
              class: 'small',
              'data-key': `remove ${words(window)}`,
              'aria-label': `Remove ${words(window)}`,
              onclick: () => act(`window remove ${words(window)}`),
            },
            'Remove',
          ),
        ),
      ),
    ),
  );
}

export function windows(section) {
  const place = h('div', {class: 'week', role: 'group', 'aria-label': 'The week, days by hours'});
  const below = h('div', {});
  const resend = h('button', {type: 'button', onclick: again}, 'Send them all again');
  const edited = editor();
  const edit = window => edited.set(window);
  drawable(place, preset => edited.set(null, preset));
  section.append(
    card(
      'The week',
      h(
        'p',
        {class: 'muted'},
        'When a device is kept off the internet. The agent looks every 30 s; on Sundays it looks up no window. It forgets them when it ends.',
      ),
      place,
    ),
    h(
      'div',
      {class: 'columns'},
      h('section', {class: 'card'}, edited.title, edited.element),
      card('Set from this bench', below, h('div', {class: 'buttons'}, resend)),
    ),
  );
  on('state', ({windows: all, clock: now, router}) => {
    resend.hidden = all.length === 0;
    const macs = [...new Set(all.map(({mac}) => mac))];
    const names = devices().map(({mac, name}) => ({mac, name}));
    draw(place, {windows: all, clock: now, macs, names}, shown => chart(shown, edit));
    draw(below, {all, names}, () => list(all, edit));
    edited.offer(router ? names : []);
  });
}

async function again() {
  for (const window of bench.state.windows) if ((await act(`window add ${words(window)}`)).failed) return;
}
