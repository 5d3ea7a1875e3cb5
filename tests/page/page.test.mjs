// The page in a real browser, over a bench with an agent of its own.
import assert from 'node:assert/strict';
import {after, afterEach, before, beforeEach, test} from 'node:test';
import {post, run, startBench, startBrowser} from './bench.mjs';
import {faint} from './contrast.mjs';

const kTablet = '00:00:5E:00:53:B6';
const kLaptop = '00:00:5E:00:53:B3';

const kSections = ['router', 'devices', 'windows', 'commands', 'diagnostics', 'updates', 'mischief', 'peer'];

let browser;
let bench;
let context;
let page;
let wrong;
let losing = false; // the browser tells of a connection that a test takes away

/** A page whose errors fail the test. */
async function open(section = 'router') {
  const opened = await context.newPage();
  opened.setDefaultTimeout(20000);
  opened.on('pageerror', error => wrong.push(String(error)));
  opened.on(
    'console',
    message =>
      message.type() === 'error' &&
      !(losing && message.text().startsWith('Failed to load resource')) &&
      wrong.push(message.text()),
  );
  await opened.goto(`${bench.url}#${section}`);
  await opened.locator('#link.good').waitFor();
  return opened;
}

const go = async (on, section) => {
  await on.locator(`#nav a[href="#${section}"]`).click();
  await on.locator(`body[data-shown="${section}"]`).waitFor();
};
const section = () => page.locator('.section:not([hidden])');
const row = mac => page.locator(`tr[data-mac="${mac}"]`);
const aSwitch = (mac, label) => row(mac).locator(`td[data-label="${label}"] [role=switch]`);
const frame = (kind, text) => page.locator(`#frames .frame[data-kind="${kind}"]`, {hasText: text}).first();
/** Until the switch says so. */
const isOn = (found, on) => found.and(page.locator(`[aria-checked="${on}"]`)).waitFor();

before(async () => {
  browser = await startBrowser();
  bench = await startBench();
  await run(bench.url, 'start-agent');
  await run(bench.url, 'wait heartbeat 20');
});
after(async () => {
  await browser?.close();
  await bench?.stop();
});
beforeEach(async () => {
  wrong = [];
  context = await browser.newContext({viewport: {width: 1366, height: 768}, locale: 'en-GB'});
});
afterEach(async () => {
  await context.close();
  assert.deepEqual(wrong, [], 'errors on the page');
});

test('an agent is stopped and started, and its life line tells', async () => {
  page = await open();
  await page.getByRole('button', {name: 'Stop agent'}).click();
  await page.getByText('○ ended with status 137').waitFor();
  await page.locator('#routers', {hasText: 'away'}).waitFor();
  await page.getByRole('button', {name: 'Start agent'}).click();
  await page.locator('#routers', {hasText: 'logged in'}).waitFor();
  await page.locator('.life[aria-label*="logged in for"] .life-away').first().waitFor({state: 'attached'});
  await page.locator('.life .mark-heartbeat').first().waitFor({state: 'attached'});
  await frame('login', '').waitFor();
});

test('a command is a form, and its answer a table', async () => {
  page = await open('commands');
  await page.getByLabel('Find a command').fill('dns-set');
  await page.getByRole('button', {name: 'dns-set'}).click();
  const card = page.locator('[data-command="dns-set"]');
  await card.getByLabel('first').fill('192.0.2.1');
  await card.getByRole('button', {name: 'Send'}).click(); // held back: the second is missing
  assert.equal(await card.getByLabel('second').evaluate(input => input.validity.valueMissing), true);
  await card.getByLabel('second').fill('192.0.2.77');
  await card.getByRole('button', {name: 'Send'}).click();
  await card.getByText('dns-set: done').waitFor();

  await page.getByLabel('A line of the console').fill('dns');
  await page.keyboard.press('Enter');
  assert.equal(await page.locator('dt:text-is("second") + dd').textContent(), '192.0.2.77');

  await frame('function command', '45 dns-set').click();
  assert.equal(await frame('function command', '45 dns-set').locator('dt:text-is("second") + dd').textContent(), '192.0.2.77');
  await page.getByLabel('Filter the frames').fill('second=192.0.2.77');
  await page.locator('#frames .frame[data-kind="function reply"]', {hasText: 'dns-set'}).waitFor({state: 'detached'});
  assert.ok((await page.locator('#frames .frame').count()) >= 2);
  await page.getByLabel('Direction').selectOption('up');
  await page.locator('#frames .frame[data-kind="function command"]').waitFor({state: 'detached'});
});

test('what fails is said, by a line and by a switch', async () => {
  page = await open('commands');
  await page.getByLabel('A line of the console').fill('no-such-command');
  await page.keyboard.press('Enter');
  await page.getByText('✕ there is no command "no-such-command"').waitFor();
  await go(page, 'devices');
  await row(kLaptop).getByLabel('Limit up of laptop').fill('5');
  await run(bench.url, 'stop-agent');
  await page.locator('#routers', {hasText: 'away'}).waitFor();
  await row(kLaptop).getByRole('button', {name: 'Set the limits'}).click();
  await page.locator('#toasts', {hasText: 'limit 00:00:5E:00:53:B3 5 0'}).waitFor();
  await run(bench.url, 'start-agent');
  await page.locator('#routers', {hasText: 'logged in'}).waitFor();
});

test('a command that runs is cancelled, and only that one', async () => {
  page = await open('commands');
  const line = page.getByLabel('A line of the console');
  const cancel = page.getByRole('button', {name: 'Cancel'});
  assert.equal(await cancel.isVisible(), false);
  for (const [text, end] of [
    ['sleep 500', () => cancel.click()],
    ['wait report 200 500', () => page.keyboard.press('Escape')],
    ['shell sleep 517; true', () => cancel.click()],
  ]) {
    await line.fill(text);
    await page.keyboard.press('Enter');
    await page.locator('#busy', {hasText: text}).waitFor();
    await end();
    await section().getByText('✕ interrupted').waitFor();
    await cancel.waitFor({state: 'hidden'});
    assert.equal((await run(bench.url, 'cpu-use')).failed, undefined);
  }
  assert.equal((await run(bench.url, "shell ! pgrep -fx 'sleep 517'")).failed, undefined);
  // One that comes too late is for nobody, also not for the next.
  for (const of of ['sleep 500', 'cpu-use']) assert.deepEqual(await post(bench.url, 'cancel', of), {cancelled: false});
  assert.equal((await run(bench.url, 'sleep 0.1')).failed, undefined);
});

test('a window is set for its day, seen, changed and removed', async () => {
  page = await open('windows');
  await page.getByRole('combobox', {name: 'Device'}).selectOption(kTablet);
  await section().getByLabel('Wed').check();
  await section().getByLabel('From').fill('14:00');
  await section().getByLabel('To, inclusive').fill('13:00');
  await page.getByRole('button', {name: 'Add'}).click();
  assert.match(
    await section()
      .getByLabel('To, inclusive')
      .evaluate(input => input.validationMessage),
    /Make two/,
  );
  await section().getByLabel('To, inclusive').fill('17:59');
  await page.getByRole('button', {name: 'Add'}).click();

  const bar = page.locator('[data-day="3"] .bar');
  assert.match(await bar.getAttribute('aria-label'), /barred on Wednesday from 14:00 to 17:59/);
  assert.equal(await page.locator('.bar').count(), 1);
  const place = await bar.evaluate(element => {
    const own = element.getBoundingClientRect();
    const track = element.parentElement.getBoundingClientRect();
    return [own.left - track.left, own.width].map(length => Math.round((24 * length) / track.width));
  });
  assert.deepEqual(place, [14, 4]);
  await frame('function command', '"FLAG":"1","MAC":"00:00:5E:00:53:B6","DAY":"3"').waitFor();

  await bar.click();
  await section().getByLabel('Sun').check();
  await page.getByRole('button', {name: 'Change', exact: true}).first().click();
  await page.locator('[data-day="7"] .bar').waitFor();
  await page.locator('[data-day="7"]', {hasText: 'never applied'}).waitFor();
  assert.deepEqual((await run(bench.url, 'window list')).answers[0].windows, [
    {mac: kTablet, days: '37', start: '14:00', stop: '17:59'},
  ]);

  await page.getByRole('button', {name: /^Remove 00:00/}).click();
  await page.locator('.bar').first().waitFor({state: 'detached'});
  await frame('function command', '"FLAG":"0","MAC":"00:00:5E:00:53:B6","DAY":"37"').waitFor();
});

test("now is marked on the bench's day", async () => {
  page = await open('windows');
  await page.locator('.now').waitFor();
  const {day} = await page.evaluate(async () => (await import('/bench.js')).bench.state.clock);
  const bench_day = ((new Date().getDay() + 6) % 7) + 1; // the bench has this process's time zone
  assert.equal(day, bench_day);
  assert.equal(await page.locator('.now').count(), 1);
  await page.locator(`[data-day="${bench_day}"] .now`).waitFor();
});

test('a window is drawn on a day', async () => {
  page = await open('windows');
  const box = await page.locator('[data-day="5"] .track').boundingBox();
  const at = hour => box.x + (box.width * hour) / 24;
  await page.mouse.move(at(9), box.y + 10);
  await page.mouse.down();
  await page.mouse.move(at(12), box.y + 10);
  await page.mouse.up();
  assert.equal(await section().getByLabel('From').inputValue(), '09:00');
  assert.equal(await section().getByLabel('To, inclusive').inputValue(), '12:00');
  assert.equal(await section().getByLabel('Fri').isChecked(), true);
});

test('a device goes, comes back, is barred and limited', async () => {
  page = await open('devices');
  await aSwitch(kLaptop, 'Online').focus();
  await page.keyboard.press('Space');
  await isOn(aSwitch(kLaptop, 'Online'), false);
  assert.equal(await aSwitch(kLaptop, 'Online').textContent(), 'away');
  assert.equal(
    await aSwitch(kLaptop, 'Online').evaluate(element => element === document.activeElement),
    true,
    'keeps the focus',
  );
  const listed = async () => (await run(bench.url, 'device list')).answers[0].devices.find(({mac}) => mac === kLaptop);
  assert.equal((await listed()).online, false);
  await page.keyboard.press('Space');
  await isOn(aSwitch(kLaptop, 'Online'), true);

  await aSwitch(kLaptop, 'Internet').click();
  await isOn(aSwitch(kLaptop, 'Internet'), false);
  assert.equal((await listed()).access, false);
  await aSwitch(kLaptop, 'Internet').click();
  await isOn(aSwitch(kLaptop, 'Internet'), true);

  await row(kLaptop).getByLabel('Limit up').fill('512');
  await row(kLaptop).getByLabel('Limit down').fill('2048');
  await row(kLaptop).getByRole('button', {name: 'Set the limits'}).click();
  await frame('function reply', 'limits-set').waitFor();
  const {up_limit, down_limit} = await listed();
  assert.deepEqual([up_limit, down_limit], [512, 2048]);
});

test('a hostile name is a text', async () => {
  const name = `<script>document.title=1</script>`;
  const image = `<img src=x onerror=alert(1)>`;
  page = await open('devices');
  await section().getByLabel('MAC').fill('02:00:00:00:00:66');
  await section().getByLabel('Name').fill('<b>"it\'s"</b>');
  await page.getByRole('button', {name: 'Add'}).click();
  await page.locator('tr', {hasText: `<b>"it's"</b>`}).waitFor();
  await run(bench.url, `device set 02:00:00:00:00:66 name="${image}"`);
  await page.locator('tr', {hasText: image}).waitFor();
  await run(bench.url, 'peer start');
  await run(bench.url, `peer report 84 '{"name":"${name}"}'`);
  await frame('report', name).click();
  await go(page, 'windows');
  await run(bench.url, 'window add 02:00:00:00:00:66 2 10:00 11:00');
  await page.locator('.bar', {hasText: image}).waitFor();
  await run(bench.url, 'window remove 02:00:00:00:00:66');
  await run(bench.url, 'device remove 02:00:00:00:00:66');
  assert.equal(await page.locator('main script, main img, main b:not(.way), aside script, aside img').count(), 0);
  assert.equal(await page.title(), 'plug-bench');
});

test('two pages see the same, and run their lines one after the other', async () => {
  page = await open('devices');
  const other = await open('devices');
  await aSwitch(kTablet, 'Online').click();
  await other.locator(`tr[data-mac="${kTablet}"] td[data-label="Online"] [aria-checked="true"]`).waitFor();
  const both = await Promise.all(
    [page, other].map((one, at) =>
      one.evaluate(async line => (await import('/bench.js')).order(line), ['cpu-use', 'memory-use'][at]),
    ),
  );
  assert.deepEqual(
    both.map(({answers}) => answers[0].answer),
    ['cpu-use', 'memory-use'],
  );
  await aSwitch(kTablet, 'Online').click();
  await other.locator(`tr[data-mac="${kTablet}"] td[data-label="Online"] [aria-checked="false"]`).waitFor();
});

test('mischief: the link is lost, and comes back', async () => {
  page = await open('mischief');
  await page.locator('[data-command="drop"]').getByRole('button').click();
  await page.locator('#routers', {hasText: 'away'}).waitFor();
  await frame('closed', 'closed by the platform').waitFor();
  await page.locator('#routers', {hasText: 'logged in'}).waitFor({timeout: 60000});
  await page.locator('[data-command="bad-checksum"]').getByRole('button').click();
  await page.getByText('wrong checksum, says the agent, code 11').waitFor();
  await page.locator('#frames .frame.wrong[data-kind="function command"]').first().waitFor();
});

test('the local peer connects and is asked', async () => {
  await run(bench.url, 'peer stop');
  page = await open('peer');
  await page.getByRole('button', {name: 'Connect', exact: true}).click();
  await page.getByText('● connected to the agent').waitFor();
  await run(bench.url, 'mesh-switch-set on');
  await frame('request', 'mesh-switch-set').waitFor();
  await page.locator('#frames .frame.down[data-kind="reply"]', {hasText: '72 mesh-switch-set'}).waitFor();
});

test('a ping and a rate, which the gauge shows', async () => {
  page = await open('diagnostics');
  const ping = page.locator('.card', {has: page.getByRole('heading', {name: 'Ping'})});
  await ping.getByLabel('Count').fill('1');
  await ping.getByRole('button', {name: 'Start'}).click();
  await ping.getByText('1 packets transmitted').waitFor();
  await section().getByLabel('Size').first().fill('2');
  await section().getByLabel('Takes').fill('1');
  await page.getByRole('button', {name: 'Measure'}).click();
  await page.locator('.gauge[aria-label*="B/s"] .gauge-part').waitFor();
  await section().getByText('rate: done').waitFor();
});

test('an update fails in its download, and each step says so', async () => {
  page = await open('updates');
  await section().getByLabel('Port').fill('0');
  await page.getByRole('button', {name: 'Serve'}).click();
  const url = page.locator('.card', {has: page.getByRole('heading', {name: 'The agent'})}).getByLabel('url');
  await section().locator('dd', {hasText: '/plug'}).waitFor();
  await url.fill(`${await url.inputValue()}?early-close`);
  await page.getByRole('button', {name: 'Order'}).first().click();
  await page.locator('.steps .failed', {hasText: 'reported'}).waitFor({timeout: 40000});
  await page.locator('.steps .failed', {hasText: 'status 104'}).waitFor();
});

test('the page finds its bench again, and another in its place', async () => {
  const own = bench;
  bench = await startBench();
  try {
    page = await open('router');
    await run(bench.url, 'start-agent');
    await page.locator('#routers', {hasText: 'logged in'}).waitFor();
    const {port} = bench;
    losing = true;
    await bench.stop('SIGKILL');
    await page.getByText('○ reconnecting').waitFor();
    bench = await startBench(port);
    await page.locator('#link.good').waitFor();
    await page.getByText('○ no router yet').waitFor();
    await page.locator('#frames .frame').first().waitFor({state: 'detached'});
    await page.getByRole('button', {name: 'Start agent'}).click();
    await page.locator('#routers', {hasText: 'logged in'}).waitFor();
  } finally {
    await page.close();
    await bench.stop();
    losing = false;
    bench = own;
  }
});

test('light and dark, kept; and a phone shows one thing at a time', async () => {
  page = await open();
  const ground = () => page.evaluate(() => getComputedStyle(document.body).backgroundColor);
  await page.emulateMedia({colorScheme: 'dark'});
  const dark = await ground();
  await page.getByRole('button', {name: 'Theme: auto'}).click();
  assert.notEqual(await ground(), dark);
  await page.reload();
  await page.getByRole('button', {name: 'Theme: light'}).click();
  assert.equal(await ground(), dark);
  await page.setViewportSize({width: 390, height: 844});
  assert.equal(await page.locator('#frames').isVisible(), false);
  await go(page, 'frames');
  assert.equal(await page.locator('#frames').isVisible(), true);
  assert.equal(await page.locator('main').isVisible(), false);
  for (const section of kSections) {
    await go(page, section);
    const over = await page.locator('main').evaluate(element => element.scrollWidth - element.clientWidth);
    assert.equal(over, 0, `${section} is wider than the phone`);
  }
});

test('texts and graphics stand out, in light and dark', async () => {
  for (const device of [1, 2, 3, 4, 5, 6]) // a colour each
    await run(bench.url, `window add 00:00:5E:00:53:B${device} 67 ${2 * device}:00 ${2 * device + 1}:00`);
  page = await open('commands');
  await page.getByLabel('Find a command').fill('wan-config');
  await page.getByRole('button', {name: 'wan-config 3', exact: true}).click();
  await page.locator('[data-command="wan-config"] [name=index]').fill('9');
  await page.getByRole('button', {name: 'Send'}).click();
  await page.getByText('✕ wan-config').waitFor();
  await go(page, 'mischief');
  await page.locator('[data-command="bad-checksum"]').getByRole('button').click();
  await page.locator('#frames .frame.wrong').first().click();
  await page.evaluate(async () => (await import('/bench.js')).act('no-such-command'));
  const found = {};
  for (const colorScheme of ['light', 'dark']) {
    await page.emulateMedia({colorScheme});
    for (const name of kSections) {
      await go(page, name);
      for (const [what, contrast] of Object.entries(await faint(page))) found[`${colorScheme}, ${what}`] = contrast;
    }
  }
  assert.deepEqual(found, {});
});

test('the home lives when it is told to', async () => {
  page = await open('devices');
  const lives = page.getByRole('switch', {name: 'The home lives'});
  const said = () => row(kLaptop).locator('td[data-label^="Limits"]').textContent();
  const before = await said();
  await lives.click();
  await isOn(lives, true);
  await page.waitForFunction(
    ([mac, text]) => document.querySelector(`tr[data-mac="${mac}"] td[data-label^="Limits"]`)?.textContent !== text,
    [kLaptop, before],
  );
  await lives.click();
  await isOn(lives, false);
});
