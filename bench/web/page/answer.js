// Answers as tables: an object as names and values, a list of objects as rows. Forms whose answer stands below.
import {order} from '/bench.js';
import {card, form, h, submit} from '/dom.js';

const kHead = ['answer', 'id', 'code', 'result', 'error', 'warning', 'event', 'peer', 'link', 'mac', 'type'];

const isRows = value => Array.isArray(value) && value.length > 0 && typeof value[0] === 'object' && value[0] !== null;

export function inline(value) {
  if (value === null || value === undefined) return '';
  if (Array.isArray(value)) return value.map(inline).join(', ');
  return typeof value === 'object' ? JSON.stringify(value) : String(value);
}

const label = name => name.replaceAll('_', ' ');

function rows(list) {
  const names = [...new Set(list.flatMap(row => Object.keys(row)))];
  return h(
    'div',
    {class: 'scroll', tabindex: '0', role: 'region', 'aria-label': 'Rows'},
    h(
      'table',
      {},
      h(
        'thead',
        {},
        h(
          'tr',
          {},
          names.map(name => h('th', {scope: 'col'}, label(name))),
        ),
      ),
      h(
        'tbody',
        {},
        list.map(row =>
          h(
            'tr',
            {},
            names.map(name => h('td', {class: typeof row[name] === 'number' ? 'number' : null}, cell(row[name]))),
          ),
        ),
      ),
    ),
  );
}

function cell(value) {
  return isRows(value) ? rows(value) : inline(value);
}

export function table(value) {
  if (isRows(value)) return rows(value);
  if (typeof value !== 'object' || value === null) return text(inline(value));
  const entries = Object.entries(value);
  const flat = entries.filter(([, part]) => !isRows(part));
  return h(
    'div',
    {class: 'stack'},
    flat.length > 0 &&
      h(
        'dl',
        {class: 'values'},
        flat.map(([name, part]) => [h('dt', {}, label(name)), h('dd', {}, nested(part))]),
      ),
    entries
      .filter(([, part]) => isRows(part))
      .map(([name, part]) => h('div', {}, h('h4', {}, label(name)), rows(part))),
  );
}

function nested(value) {
  if (typeof value === 'object' && value !== null && !Array.isArray(value)) return table(value);
  const shown = inline(value);
  return shown.includes('\n') ? h('pre', {}, shown) : shown;
}

function text(shown) {
  return h('pre', {}, shown);
}

/** One answer: whether it went well, in words, then what it holds. */
function one(answer) {
  const bad = answer.error !== undefined || (answer.result !== undefined && answer.result !== 0);
  const told = bad ? (answer.error ?? `result ${answer.result}`) : 'done';
  const name = answer.answer ?? answer.name ?? '';
  const rest = Object.fromEntries(Object.entries(answer).filter(([key]) => !kHead.includes(key) && key !== 'name'));
  const content = rest.fields !== undefined && Object.keys(rest).length === 1 ? rest.fields : rest;
  const only = Object.keys(content);
  return h(
    'div',
    {class: 'answer'},
    h(
      'p',
      {class: bad ? 'bad' : 'good'},
      bad ? '✕ ' : '✓ ',
      name ? `${name}: ` : '',
      told,
      answer.warning ? ` (${answer.warning})` : '',
      bad && answer.code ? `, code ${answer.code}` : '',
    ),
    only.length === 0 ? null : only.length === 1 && only[0] === 'text' ? text(content.text) : table(content),
  );
}

/** What came of a line. */
export function outcome(result) {
  return h(
    'div',
    {class: 'outcome', 'aria-live': 'polite'},
    result.answers?.map(one),
    result.failed ? h('p', {class: 'bad'}, '✕ ', result.failed) : null,
    !result.failed && !result.answers?.length ? h('p', {class: 'good'}, '✓ done') : null,
  );
}

/** A card with a form: `button` orders the line of its values, `meanwhile` is said until it is over. */
export function orderCard(title, help, fields, {button, meanwhile}, line) {
  const answer = h('div', {});
  return card(
    title,
    h('p', {class: 'muted'}, help),
    form(
      async values => {
        answer.replaceChildren(h('p', {class: 'muted'}, `… ${meanwhile}`));
        answer.replaceChildren(outcome(await order(line(values))));
      },
      h('div', {class: 'fields'}, fields),
      h('div', {class: 'buttons'}, submit(button)),
    ),
    answer,
  );
}
