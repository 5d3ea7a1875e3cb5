// Every command as a form built from the command table, and a line for those who know them.
import {outcome} from '/answer.js';
import {bench, devices, named, on, order} from '/bench.js';
import {card, draw, field, form, h, submit} from '/dom.js';

/** What a parameter is typed or chosen with. */
export function input({name, kind, form: hint, most, optional}) {
  const common = {name, required: !optional && kind !== 'long', title: hint, placeholder: optional ? 'as it is' : ''};
  if (kind === 'switch')
    return h(
      'select',
      {name},
      optional && h('option', {value: ''}, 'as it is'),
      h('option', {}, 'on'),
      h('option', {}, 'off'),
    );
  if (kind === 'number')
    return h('input', {...common, type: 'number', min: most === 0x7fffffff ? null : 0, max: most, step: 1});
  if (kind === 'mac') return h('input', {...common, list: 'macs', autocomplete: 'off'});
  if (kind === 'ip') return h('input', {...common, inputmode: 'decimal'});
  if (kind === 'long') return h('textarea', {...common, rows: 3});
  return h('input', {...common, maxlength: kind === 'hex' ? null : most});
}

export function fields(parameters) {
  return (
    parameters.length > 0 &&
    h(
      'div',
      {class: 'fields'},
      parameters.map(parameter =>
        field(
          parameter.name.replaceAll('_', ' '),
          input(parameter),
          parameter.kind === 'switch' ? null : parameter.form,
        ),
      ),
    )
  );
}

/** The form of one command, with its answer below. */
function commandForm(command) {
  const answer = h('div', {});
  const {name, usage, help, parameters} = command;
  const words = parameters
    ? fields(parameters)
    : usage &&
      field(
        'Words',
        h('input', {name: 'words', required: command.at_least > 0, placeholder: usage, autocomplete: 'off'}),
        usage,
      );
  return h(
    'section',
    {class: 'card command', 'data-command': name},
    h('h3', {}, name, command.id !== undefined ? h('small', {class: 'muted'}, ` ${command.id}`) : null),
    h('p', {class: 'muted'}, help),
    form(
      async values => {
        answer.replaceChildren(h('p', {class: 'muted'}, '… waits for the answer'));
        answer.replaceChildren(
          outcome(await order(`${name} ${parameters ? named(values) : (values.words ?? '')}`.trim())),
        );
      },
      words,
      h('div', {class: 'buttons'}, submit('Send')),
    ),
    answer,
  );
}

/** The line: what the console takes. */
function lineForm() {
  const prompt = h('span', {class: 'prompt'}, 'bench>');
  const line = h('input', {
    name: 'line',
    class: 'mono',
    list: 'names',
    autocomplete: 'off',
    spellcheck: 'false',
    'aria-label': 'A line of the console',
    placeholder: 'any line of the console',
  });
  const answer = h('div', {});
  const past = [];
  let at = 0;
  line.addEventListener('keydown', event => {
    const step = {ArrowUp: -1, ArrowDown: 1}[event.key];
    if (!step || (!event.altKey && line.value !== '' && line.value !== past[at])) return;
    event.preventDefault();
    at = Math.min(past.length, Math.max(0, at + step));
    line.value = past[at] ?? '';
  });
  on('state', state => {
    prompt.textContent = state.prompt.trim();
  });
  return card(
    'A line',
    form(
      async () => {
        if (!line.value.trim()) return;
        past.push(line.value);
        at = past.length;
        const text = line.value;
        line.value = '';
        answer.replaceChildren(h('p', {class: 'muted'}, `… ${text}`));
        answer.replaceChildren(h('p', {class: 'mono muted'}, `> ${text}`), outcome(await order(text)));
        line.focus();
      },
      h('div', {class: 'line'}, prompt, line, submit('Run')),
    ),
    answer,
  );
}

export function commands(section) {
  const search = h('input', {type: 'search', placeholder: 'Find a command', 'aria-label': 'Find a command'});
  const list = h('div', {class: 'list'});
  const place = h('div', {class: 'place'}, h('p', {class: 'empty'}, 'Choose a command to get its form.'));
  const macs = h('datalist', {id: 'macs'});
  const names = h(
    'datalist',
    {id: 'names'},
    bench.commands.commands.map(({name}) => h('option', {value: name})),
  );
  let chosen = null;

  const show = () => {
    const wanted = search.value.toLowerCase();
    const found = bench.commands.commands
      .filter(
        ({name, help, id, group}) =>
          group !== 'script' && `${name} ${id ?? ''} ${help}`.toLowerCase().includes(wanted),
      )
      .sort((one, other) => (one.id ?? 0) - (other.id ?? 0));
    const groups = [...new Set(found.map(({group}) => group))];
    draw(list, {found: found.map(({name}) => name), chosen}, () =>
      found.length === 0
        ? h('p', {class: 'empty'}, 'No such command.')
        : groups.map(group =>
            h(
              'details',
              {open: wanted !== '' || found.some(command => command.group === group && command.id)},
              h('summary', {}, group),
              found
                .filter(command => command.group === group)
                .map(command =>
                  h(
                    'button',
                    {
                      type: 'button',
                      class: 'entry',
                      'data-key': command.name,
                      'aria-pressed': String(command.name === chosen),
                      onclick: () => {
                        chosen = command.name;
                        for (const entry of list.querySelectorAll('.entry'))
                          entry.setAttribute('aria-pressed', String(entry.dataset.key === chosen));
                        place.replaceChildren(commandForm(command));
                        if (matchMedia('(max-width: 800px)').matches) place.scrollIntoView();
                      },
                    },
                    h('span', {}, command.name),
                    h('small', {}, command.id ?? ''),
                  ),
                ),
            ),
          ),
    );
  };
  search.addEventListener('input', show);
  show();
  on('state', () =>
    draw(
      macs,
      devices().map(({mac, name}) => ({mac, name})),
      all => all.map(({mac, name}) => h('option', {value: mac}, name)),
    ),
  );
  section.append(
    lineForm(),
    h('div', {class: 'chooser'}, h('div', {class: 'card choice'}, search, list), place),
    macs,
    names,
  );
}
