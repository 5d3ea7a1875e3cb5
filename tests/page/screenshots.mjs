// Pictures of the page at work: screenshots.mjs FOLDER [SECTION...]; of all sections in all looks when some are named.
import {mkdirSync} from 'node:fs';
import {run, startBench, startBrowser} from './bench.mjs';

const [folder, ...sections] = process.argv.slice(2);
const kLaptop = {width: 1280, height: 720};
const kPhone = {width: 390, height: 844};
const kLines = [
  'start-agent',
  'wait heartbeat 20',
  'peer start',
  'window add 00:00:5E:00:53:B6 12345 20:00 23:59',
  'window add 00:00:5E:00:53:B6 12345 00:00 06:30',
  'window add 00:00:5E:00:53:B2 67 8:00 12:00',
  'window add 00:00:5E:00:53:B3 135 14:00 16:30',
  'mesh-switch-set on',
  'peer report 89 type=1 data=\'{"cpu":7,"memory":41}\'',
  'device set 00:00:5E:00:53:B5 online=off',
  'limit 00:00:5E:00:53:B1 512 2048',
  'wan-config 1',
  'bad-checksum',
  'cpu-use',
  'scan',
];

mkdirSync(folder, {recursive: true});
const bench = await startBench();
for (const line of kLines) {
  const {failed} = await run(bench.url, line);
  if (failed) throw new Error(`${line}: ${failed}`);
}
const browser = await startBrowser();

async function take(name, section, viewport, colorScheme, prepare = async () => {}) {
  const context = await browser.newContext({viewport, colorScheme, locale: 'en-GB', deviceScaleFactor: 1});
  const page = await context.newPage();
  await page.goto(`${bench.url}#${section}`);
  await page.locator('#link.good').waitFor();
  await page.locator('#routers .good').waitFor();
  await page.locator('.frame').first().waitFor({state: 'attached'});
  if (section === 'router') await page.locator('.life rect').first().waitFor({state: 'attached'});
  await prepare(page);
  await page.screenshot({path: `${folder}/${name}.png`});
  await context.close();
}

async function sendDeviceInformation(page) {
  await page.getByLabel('Find a command').fill('wan-config');
  await page.getByRole('button', {name: 'wan-config 3', exact: true}).click();
  await page.locator('[data-command="wan-config"] [name=index]').fill('1');
  await page.getByRole('button', {name: 'Send'}).click();
  await page.getByText('wan-config: done').waitFor();
}

if (sections.length === 0) {
  await take('page-windows', 'windows', kLaptop, 'light');
  await take('page-devices', 'devices', kLaptop, 'dark');
  await take('page-commands', 'commands', kLaptop, 'light', sendDeviceInformation);
  await take('page-phone', 'windows', kPhone, 'light');
} else {
  for (const section of sections)
    for (const [look, viewport] of [
      ['laptop', kLaptop],
      ['phone', kPhone],
    ])
      for (const scheme of ['light', 'dark']) await take(`${section}-${look}-${scheme}`, section, viewport, scheme);
}
await browser.close();
await bench.stop();
