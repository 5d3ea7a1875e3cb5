// The page: its sections, which of them is shown, and what stands above them all.
import {act, bench, cancel, follow, loadCommands, on} from '/bench.js';
import {draw, h} from '/dom.js';
import {commands} from '/commands.js';
import {devices} from '/devices.js';
import {diagnostics} from '/diagnostics.js';
import {frames} from '/frames.js';
import {mischief} from '/mischief.js';
import {peer} from '/peer.js';
import {routers} from '/routers.js';
import {updates} from '/updates.js';
import {windows} from '/windows.js';

const kSections = [
  ['router', 'Router', '⌂', routers],
  ['devices', 'Devices', '▤', devices],
  ['windows', 'Windows', '◷', windows],
  ['commands', 'Commands', '›_', commands],
  ['diagnostics', 'Diagnostics', '∿', diagnostics],
  ['updates', 'Updates', '⇪', updates],
  ['mischief', 'Mischief', '⚡', mischief],
  ['peer', 'Local peer', '⇄', peer],
];

const byId = id => document.getElementById(id);

function show() {
  const wanted = location.hash.slice(1);
  const known = wanted === 'frames' || kSections.some(([name]) => name === wanted);
  const name = known ? wanted : 'router';
  document.body.dataset.shown = name;
  for (const link of byId('nav').children) link.toggleAttribute('aria-current', link.hash === `#${name}`);
  for (const section of byId('main').children) section.hidden = section.id !== `section-${name}`;
  byId('main').scrollTop = 0;
  byId('nav').querySelector('[aria-current]')?.scrollIntoView({block: 'nearest', inline: 'nearest'});
}

function addSections() {
  for (const [name, title, icon, mount] of kSections) {
    const section = h('div', {id: `section-${name}`, class: 'section'}, h('h2', {}, title));
    byId('main').append(section);
    byId('nav').append(h('a', {href: `#${name}`}, h('i', {'aria-hidden': 'true'}, icon), title));
    mount(section);
  }
  byId('nav').append(h('a', {href: '#frames', class: 'narrow'}, h('i', {'aria-hidden': 'true'}, '≋'), 'Frames'));
  frames(byId('frames'));
  addEventListener('hashchange', show);
  show();
}

const kThemes = {auto: '◐ Auto', light: '☀ Light', dark: '☾ Dark'};

function addTheme() {
  const button = byId('theme');
  const set = name => {
    document.documentElement.dataset.theme = name;
    button.textContent = kThemes[name];
    button.setAttribute('aria-label', `Theme: ${name}`);
    localStorage.setItem('theme', name);
  };
  const kept = localStorage.getItem('theme');
  set(kept in kThemes ? kept : 'auto');
  button.addEventListener('click', () => {
    const names = Object.keys(kThemes);
    set(names[(names.indexOf(document.documentElement.dataset.theme) + 1) % names.length]);
  });
}

function showRouters({agents, prompt}) {
  if (agents.length === 0) return h('span', {class: 'pill'}, '○ no router yet');
  return agents.map(({mac, logged_in}) => {
    const chosen = agents.length === 1 || prompt.startsWith(mac);
    return h(
      'button',
      {
        type: 'button',
        class: `pill ${logged_in ? 'good' : 'bad'}`,
        'data-key': mac,
        'aria-pressed': String(chosen),
        title: chosen ? 'Commands go to this router' : 'Let commands go to this router',
        onclick: () => act(`use ${mac}`),
      },
      logged_in ? '● ' : '○ ',
      mac,
      logged_in ? ' logged in' : ' away',
    );
  });
}

function addHead() {
  on('link', there => {
    const pill = byId('link');
    pill.className = `pill ${there ? 'good' : 'bad'}`;
    pill.textContent = there ? '● live' : '○ reconnecting';
    document.body.classList.toggle('lost', !there);
  });
  on('state', ({agents, prompt, busy}) => {
    draw(byId('routers'), {agents: agents.map(({mac, logged_in}) => ({mac, logged_in})), prompt}, showRouters);
    byId('busy').textContent = busy ? `… ${busy}` : '';
    byId('cancel').hidden = !busy;
  });
  byId('cancel').addEventListener('click', cancel);
  addEventListener('keydown', event => {
    if (event.key === 'Escape' && bench.state?.busy) cancel();
  });
}

addTheme();
addHead();
await loadCommands();
addSections();
follow();
