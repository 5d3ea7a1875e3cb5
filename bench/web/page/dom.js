// Elements made without markup: every text, whoever sent it, goes in as text.

/** h("button", {class: "quiet", onclick: f, "data-key": "x"}, "text", child, [more]) */
export function h(tag, attributes = {}, ...children) {
  return fill(document.createElement(tag), attributes, children);
}

/** The same for a drawing. */
export function s(tag, attributes = {}, ...children) {
  return fill(document.createElementNS('http://www.w3.org/2000/svg', tag), attributes, children);
}

function fill(element, attributes, children) {
  for (const [name, value] of Object.entries(attributes)) {
    if (value === undefined || value === null || value === false) continue;
    if (name.startsWith('on')) element.addEventListener(name.slice(2), value);
    else if (name === 'style') for (const [key, part] of Object.entries(value)) element.style.setProperty(key, part);
    else if (name === 'value' && 'value' in element) element.value = value;
    else element.setAttribute(name, value === true ? '' : value);
  }
  element.append(...children.flat(Infinity).filter(child => child !== null && child !== undefined && child !== false));
  // Only now does a select have the option that it shall show.
  if (element.tagName === 'SELECT' && attributes.value !== undefined) element.value = attributes.value;
  return element;
}

const drawn = new WeakMap();

/** Draws `data` into the container when it is other data than before. Who has the focus keeps it, by data-key. */
export function draw(container, data, build) {
  const text = JSON.stringify(data);
  if (drawn.get(container) === text) return;
  drawn.set(container, text);
  const key = container.contains(document.activeElement) ? document.activeElement.dataset.key : undefined;
  container.replaceChildren(...[build(data)].flat(Infinity).filter(Boolean));
  if (key) [...container.querySelectorAll('[data-key]')].find(element => element.dataset.key === key)?.focus();
}

export function card(title, ...content) {
  return h('section', {class: 'card'}, h('h3', {}, title), content);
}

export function field(label, input, hint) {
  const broad =
    input.tagName === 'TEXTAREA' ||
    input.classList.contains('broad') ||
    input.type === 'url' ||
    ['path', 'url'].includes(input.name);
  return h(
    'label',
    {class: broad ? 'field broad' : 'field'},
    h('span', {}, label),
    input,
    hint ? h('small', {}, hint) : null,
  );
}

/** A switch that tells its state in words too. */
export function toggle(key, label, on, words, onclick) {
  return h(
    'button',
    {
      type: 'button',
      role: 'switch',
      class: 'switch',
      'aria-checked': String(on),
      'aria-label': label,
      'data-key': key,
      onclick,
    },
    h('i', {'aria-hidden': 'true'}),
    words[on ? 0 : 1],
  );
}

/** A form whose submit calls `act` with its values by name, and which is locked meanwhile. */
export function form(act, ...content) {
  const element = h(
    'form',
    {
      class: 'form',
      onsubmit: async event => {
        event.preventDefault();
        const button = element.querySelector('[type=submit]');
        button.disabled = true;
        try {
          await act(Object.fromEntries(new FormData(element)), element);
        } finally {
          button.disabled = false;
        }
      },
    },
    content,
  );
  return element;
}

export const submit = text => h('button', {type: 'submit', class: 'main'}, text);
