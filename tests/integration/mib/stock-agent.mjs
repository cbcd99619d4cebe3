// A stock snmpd on a free port of the loopback interface that serves given rows of our tables.
import assert from 'node:assert/strict';
import { spawn } from 'node:child_process';
import { createSocket } from 'node:dgram';
import { once } from 'node:events';
import { mkdtempSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';
import { after } from 'node:test';
import { fileURLToPath } from 'node:url';
import { environment, run, scratch } from './support.mjs';

export const user = { name: 'walker', auth: 'walker-auth-key', priv: 'walker-priv-key' };

// An agent ends after the tests, and also when they are broken off.
for (const signal of ['SIGINT', 'SIGTERM']) process.once(signal, () => process.exit(1));

const passAgent = fileURLToPath(new URL('pass-agent.mjs', import.meta.url));
const arc = '.1.3.6.1.4.1.61111.3.38.1';

// The objects of a table, column by column as a walk sees them. `rows` is sorted as its keys are
// (shorter first); a cell is [TYPE, VALUE] and stands for column 2 onward.
export function tableObjects(tableNumber, rows) {
  const columns = rows[0].cells.map((_, at) => at + 2);
  return columns.flatMap((column) => rows.map(({ key, cells }) => {
    const index = [key.length, ...Buffer.from(key)].join('.');
    return [`${arc}.${tableNumber}.1.${column}.${index}`, ...cells[column - 2]];
  }));
}

async function freePort() {
  const socket = createSocket('udp4');
  socket.bind(0, '127.0.0.1');
  await once(socket, 'listening');
  const { port } = socket.address();
  socket.close();
  await once(socket, 'close');
  return port;
}

// Starts an agent that serves the objects, and in the context `blue` those of the agent on the port
// `blue`, if given. Waits until it answers; it ends with the tests. Returns its port.
export async function startAgent(objects, { blue } = {}) {
  const dir = mkdtempSync(join(scratch, 'agent-'));
  const port = await freePort();
  // snmpd splits the command at blanks, which the paths of node and of this folder may hold.
  const command = join(dir, 'pass-agent.sh');
  writeFileSync(command, `#!/bin/sh\nexec '${process.execPath}' '${passAgent}' '${dir}/objects.json'\n`,
    { mode: 0o755 });
  writeFileSync(join(dir, 'objects.json'), JSON.stringify(objects));
  writeFileSync(join(dir, 'agent.conf'), [
    `agentaddress udp:127.0.0.1:${port}`,
    'view all included .1',
    'rocommunity public 127.0.0.1',
    'rocommunity public@blue 127.0.0.1 -V all blue',
    `createUser ${user.name} SHA-256 ${user.auth} AES ${user.priv}`,
    `rouser ${user.name} authpriv -V all *`,
    `pass_persist ${arc} ${command}`,
    ...(blue ? [`proxy -Cn blue -v2c -c public 127.0.0.1:${blue} ${arc}`] : []),
    '',
  ].join('\n'));

  const log = [];
  const snmpd = spawn('snmpd', ['-f', '-Lo', '-C', '-c', join(dir, 'agent.conf'), '-I', '-smux'], {
    env: { ...environment, MIBS: '', SNMP_PERSISTENT_DIR: dir, PATH: `${process.env.PATH}:/usr/sbin` },
    stdio: ['ignore', 'pipe', 'pipe'],
  });
  for (const stream of [snmpd.stdout, snmpd.stderr]) stream.on('data', (text) => log.push(text));
  after(() => snmpd.kill('SIGKILL'));
  process.on('exit', () => snmpd.kill('SIGKILL'));

  for (let attempt = 0; attempt < 100; attempt += 1) {
    const { status } = run('snmpget', '-v2c', '-c', 'public', '-r', '0', '-t', '0.2',
      `127.0.0.1:${port}`, '.1.3.6.1.2.1.1.3.0');
    if (status === 0) return port;
    if (snmpd.exitCode !== null) break;
    await new Promise((resolve) => setTimeout(resolve, 50));
  }
  return assert.fail(`snmpd does not answer:\n${log.join('')}`);
}
