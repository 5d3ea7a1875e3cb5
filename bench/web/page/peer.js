// The local peer: its connection, how it answers, what it reports, and its mischief.
import {outcome} from '/answer.js';
import {act, bench, named, on, order, quote} from '/bench.js';
import {fields} from '/commands.js';
import {card, draw, field, form, h, submit} from '/dom.js';
import {mischiefCards} from '/mischief.js';

const kMischief = ['bad-head', 'bad-checksum', 'repeat-sequence', 'long-length', 'empty', 'glue', 'half', 'second'].map(
  name => `peer ${name}`,
);

/** A form of one of several rows, chosen by name. */
function chosen(rows, extra, line, show) {
  const select = h(
    'select',
    {'aria-label': 'Which'},
    rows.map(({name, id}) => h('option', {value: name}, `${id} ${name}`)),
  );
  const inputs = h('div', {class: 'stack'});
  const choose = () => {
    const row = rows.find(({name}) => name === select.value);
    inputs.replaceChildren(
      ...[h('p', {class: 'muted'}, row.help), extra.fixed ? null : fields(row.parameters)].filter(Boolean),
    );
  };
  select.addEventListener('input', choose);
  choose();
  return form(
    async values => show(await order(line(select.value, values))),
    field('Which', select),
    inputs,
    extra.content ?? null,
    h('div', {class: 'buttons'}, submit(extra.button)),
  );
}

export function peer(section) {
  const link = h('p', {class: 'line'});
  const answer = h('div', {}, h('p', {class: 'empty'}, 'Nothing done yet.'));
  const show = result => answer.replaceChildren(h('p', {class: 'mono muted'}, `> ${result.line}`), outcome(result));
  const button = (line, text, style) =>
    h('button', {type: 'button', class: style, onclick: async () => show(await act(line))}, text);
  const connect = button('peer start 5', 'Connect');
  const {requests, reports, commands} = bench.commands;
  const how = h(
    'select',
    {name: 'how'},
    h('option', {value: 'usual'}, 'as usual'),
    h('option', {value: 'result'}, 'with this result'),
    h('option', {value: 'silent'}, 'not at all'),
    h('option', {value: 'hex'}, 'with these bytes'),
  );

  section.append(
    h(
      'div',
      {class: 'columns'},
      card(
        'Connection',
        link,
        h(
          'div',
          {class: 'buttons'},
          connect,
          button('peer stop', 'Close'),
          button('peer reconnect 5', 'Connect anew'),
          button('peer ask-state', 'Ask for the state'),
        ),
      ),
      card('Answer', answer),
    ),
    h(
      'div',
      {class: 'columns'},
      card(
        'How a request is answered',
        chosen(
          requests,
          {
            fixed: true,
            button: 'From now on',
            content: h(
              'div',
              {class: 'fields'},
              field('How', how),
              field('Result', h('input', {name: 'result', type: 'number', min: 0, max: 255, placeholder: '0'})),
              field('Delay', h('input', {name: 'delay', type: 'number', min: 0, step: 'any', placeholder: 'seconds'})),
              field('Bytes', h('input', {name: 'hex', placeholder: 'hexadecimal'})),
            ),
          },
          answerLine,
          show,
        ),
        h(
          'div',
          {class: 'buttons'},
          button('peer answers', 'What is not as usual'),
          button('peer requests', 'What may be asked'),
        ),
      ),
      card(
        'A report',
        chosen(reports, {button: 'Report'}, (name, values) => `peer report ${name} ${named(values)}`, show),
      ),
    ),
    card(
      'Mischief',
      mischiefCards(
        commands.filter(({name}) => kMischief.includes(name)),
        show,
      ),
    ),
  );
  on('state', state =>
    draw(link, state.peer, there => {
      connect.disabled = there;
      connect.classList.toggle('main', !there);
      return h(
        'span',
        {class: `pill ${there ? 'good' : 'bad'}`},
        there ? '● connected to the agent' : '○ not connected',
      );
    }),
  );
}

function answerLine(name, {how, result, delay, hex}) {
  const words = {usual: 'usual', silent: 'silent', result: `result=${result || 0}`, hex: `hex=${quote(hex)}`}[how];
  return `peer answer ${name} ${words}${how !== 'usual' && delay ? ` delay=${delay}` : ''}`;
}
