// The page's server: whom it answers, and how a page that was lost goes on.
import assert from 'node:assert/strict';
import {after, before, test} from 'node:test';
import http from 'node:http';
import net from 'node:net';
import {mkdtempSync, readFileSync, rmSync} from 'node:fs';
import os from 'node:os';
import {run, startBench} from './bench.mjs';

let bench;
before(async () => {
  bench = await startBench();
});
after(() => bench?.stop());

/** {status, headers, text} */
function ask(path, {method = 'GET', body, ...headers} = {}) {
  return new Promise((resolve, reject) => {
    const request = http
      .request({host: '127.0.0.1', port: bench.port, path, method, headers}, response => {
        let text = '';
        response.setEncoding('utf8').on('data', part => {
          text += part;
        });
        response.on('end', () => resolve({status: response.statusCode, headers: response.headers, text}));
      })
      .on('error', reject);
    request.end(body);
  });
}

const order = headers =>
  ask('/run', {method: 'POST', body: '{"line":"echo x"}', 'Content-Type': 'application/json', ...headers});

/** The events that come until `enough` of what came so far. */
function events(headers, enough) {
  return new Promise((resolve, reject) => {
    const request = http
      .get({host: '127.0.0.1', port: bench.port, path: '/events', headers}, response => {
        let text = '';
        response.setEncoding('utf8').on('data', part => {
          text += part;
          const found = [...text.matchAll(/event: (.*)\n(?:id: (.*)\n)?data: (.*)\n\n/g)].map(([, kind, id, data]) => ({
            kind,
            id,
            data: JSON.parse(data),
          }));
          if (!enough(found)) return;
          request.destroy();
          resolve(found);
        });
      })
      .on('error', reject);
  });
}

test('foreign hosts and origins are refused, for every path', async () => {
  const own = `127.0.0.1:${bench.port}`;
  for (const headers of [
    {Host: 'evil.example'},
    {Host: `evil.example:${bench.port}`},
    {Host: '127.0.0.1.evil.example'},
    {Origin: 'http://evil.example'},
    {Origin: 'null'},
    {Origin: 'http://127.0.0.1:1'},
    {Origin: `https://${own}`},
    {Origin: `http://localhost:${bench.port}`},
  ])
    for (const [path, options] of [
      ['/', {}],
      ['/commands', {}],
      ['/events', {}],
      ['/run', {method: 'POST', body: '{"line":"shell touch /tmp/taken"}', 'Content-Type': 'application/json'}],
      ['/cancel', {method: 'POST', body: '{"line":"x"}', 'Content-Type': 'application/json'}],
    ])
      assert.equal((await ask(path, {...options, ...headers})).status, 403, `${path} ${JSON.stringify(headers)}`);
  assert.equal((await run(bench.url, 'shell test ! -e /tmp/taken')).failed, undefined);

  for (const headers of [
    {},
    {Origin: `http://${own}`},
    {Host: 'localhost:9', Origin: 'http://localhost:9'},
    {Host: '[::1]:9'},
  ])
    assert.equal((await order(headers)).status, 200, JSON.stringify(headers));
});

test('a line comes as JSON, so that no form of another site can send it', async () => {
  assert.equal((await order({'Content-Type': 'text/plain'})).status, 415);
  assert.equal((await ask('/run', {method: 'POST', body: '[1]', 'Content-Type': 'application/json'})).status, 400);
  const outcome = JSON.parse((await order({})).text);
  assert.deepEqual(outcome, {line: 'echo x', answers: [{echo: 'x'}]});
  assert.match((await run(bench.url, 'shell exit 3')).failed, /exited with status 3/);
});

test('only loopback is listened on', async () => {
  const others = Object.values(os.networkInterfaces())
    .flat()
    .filter(({internal, family}) => !internal && family === 'IPv4');
  for (const {address} of others)
    await assert.rejects(
      new Promise((resolve, reject) => net.connect(bench.port, address, resolve).on('error', reject)),
      {code: 'ECONNREFUSED'},
    );
});

test('two benches do not share a port', async () => {
  const second = startBench(bench.port);
  second.then(started => started.stop()).catch(() => {});
  await assert.rejects(second, /ended with 2/);
});

test('every answer forbids scripts from elsewhere', async () => {
  for (const path of ['/', '/page.js', '/commands', '/nothing']) {
    const {headers} = await ask(path);
    assert.match(headers['content-security-policy'], /default-src 'none'; script-src 'self';/);
    assert.doesNotMatch(headers['content-security-policy'], /unsafe/);
    assert.equal(headers['x-content-type-options'], 'nosniff');
  }
});

test('a started process inherits no connection of a browser', async () => {
  const {
    answers: [{text}],
  } = await run(bench.url, 'shell ls -l /proc/self/fd');
  assert.doesNotMatch(text, /socket:/);
});

test('what passes is printed and captured too', {timeout: 60000}, async () => {
  const folder = mkdtempSync(`${os.tmpdir()}/plug-page-`);
  const file = `${folder}/page.pcapng`;
  const own = await startBench(0, '--frames', '--capture', file);
  try {
    await run(own.url, 'start-agent');
    await run(own.url, 'wait heartbeat 20');
    const answered = await run(own.url, 'cpu-use');
    assert.deepEqual(answered.answers.map(({answer}) => answer), ['cpu-use']);
    const seen = [];
    for await (const line of own.lines) {
      seen.push(line);
      if (line.includes('function reply 47 cpu-use')) break;
    }
    assert.match(seen.join('\n'), /agent -> platform #1  register, .*\n[^]*platform -> agent #2  function command 47 cpu-use/);
    assert.ok(readFileSync(file).includes('plug-bench') && readFileSync(file).length > 1000);
  } finally {
    await own.stop();
    rmSync(folder, {recursive: true});
  }
});

test('a page that was lost goes on behind its last event', async () => {
  await run(bench.url, 'echo first');
  await run(bench.url, 'echo second');
  const ran = (found, line) => found.findIndex(({kind, data}) => kind === 'ran' && data.line === line);
  const all = await events({}, found => ran(found, 'echo second') >= 0);
  assert.equal(all[0].kind, 'hello');
  const first = all[ran(all, 'echo first')];
  const rest = await events({'Last-Event-ID': first.id}, found => ran(found, 'echo second') >= 0);
  assert.equal(ran(rest, 'echo first'), -1);
  const of_another = await events({'Last-Event-ID': '12-999999'}, found => ran(found, 'echo second') >= 0);
  assert.ok(ran(of_another, 'echo first') >= 0);
});
