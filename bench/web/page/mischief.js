// What a network or a broken platform does to an agent, each at a button.
import {outcome} from '/answer.js';
import {bench, order} from '/bench.js';
import {card, form, h, submit} from '/dom.js';

const kInitial = {junk: '0102030405', split: '5 0.1', glue: 'cpu-use ; memory-use', stall: '10'};

export function mischiefCards(commands, show) {
  return h(
    'div',
    {class: 'tiles'},
    commands.map(({name, usage, help, at_least}) => {
      const element = form(
        async ({words}) => show(await order(`${name} ${words ?? ''}`.trim())),
        h('div', {}, h('strong', {}, name), h('p', {class: 'muted'}, help)),
        h(
          'div',
          {class: 'line'},
          usage
            ? h('input', {
                name: 'words',
                required: at_least > 0,
                placeholder: usage,
                'aria-label': `${name} ${usage}`,
                title: usage,
                value: kInitial[name] ?? '',
              })
            : null,
          h('button', {type: 'submit'}, 'Do it'),
        ),
      );
      element.classList.add('tile');
      element.dataset.command = name;
      return element;
    }),
  );
}

export function mischief(section) {
  const answer = h('div', {}, h('p', {class: 'empty'}, 'What it leads to stands here, and among the frames.'));
  const show = result => answer.replaceChildren(h('p', {class: 'mono muted'}, `> ${result.line}`), outcome(result));
  section.append(
    h('p', {class: 'muted'}, 'Those with a command send that command, or wifi-radio-switch.'),
    card('Answer', answer),
    mischiefCards(
      bench.commands.commands.filter(({group}) => group === 'mischief'),
      show,
    ),
  );
}
