import assert from 'node:assert/strict';
import { join } from 'node:path';
import test from 'node:test';
import { startAgent, tableObjects, user } from './stock-agent.mjs';
import { root, run } from './support.mjs';

const integer = (value) => ['integer', value];
const text = (value) => ['string', value];
const octets = (...values) => ['octet', values.map((value) => value.toString(16)).join(' ')];

const icmpCells = (client, host, type, address, ifIndex, ...numbers) =>
  [text(client), text(host), integer(type), octets(...address), integer(ifIndex),
    ...numbers.map(integer)];
const icmpRows = [
  { key: 'labns192.0.2.530', cells: icmpCells('lab', 'ns', 1, [192, 0, 2, 53], 0, 0, 0, 0, 0, 100) },
  { key: 'labweb1192.0.2.107',
    cells: icmpCells('lab', 'web1', 1, [192, 0, 2, 10], 7, 3, 12345, 1, 2, 0) },
];
const httpRows = [
  { key: 'labweb1http://192.0.2.10/0',
    cells: [text('lab'), text('Zürich'), text('http://192.0.2.10/'), integer(0), integer(1), integer(257)] },
];
const v6 = [0x20, 1, 0xd, 0xb8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1];
const tcpRow = (cells = {}) => {
  const all = { client: text('lab'), host: text('db1'), type: integer(2), address: octets(...v6),
    port: integer(5432), ifIndex: integer(7), precision: integer(1), value: integer(15), ...cells };
  return { key: 'labdb12001:db8::154327', cells: Object.values(all) };
};

const bluePort = await startAgent(tableObjects(3, [tcpRow({ host: text('db-blue') })]));
const port = await startAgent(
  [...tableObjects(1, icmpRows), ...tableObjects(2, httpRows), ...tableObjects(3, [tcpRow()])],
  { blue: bluePort });

const walk = (at, table, ...options) => run(process.execPath, join(root, 'tests/integration/js/walk.js'),
  ...options, '127.0.0.1', String(at), table);

function rowsOf({ status, stdout, stderr }) {
  assert.deepEqual({ status, stderr }, { status: 0, stderr: '' });
  return JSON.parse(stdout);
}

const httpAsJson = [{
  index: 'labweb1http://192.0.2.10/0',
  velmorHttpProbeClient: 'lab',
  velmorHttpProbeHost: 'Zürich',
  velmorHttpProbeUrl: 'http://192.0.2.10/',
  velmorHttpProbeIfIndex: 0,
  velmorHttpProbeResponseTimePrec: 1,
  velmorHttpProbeResponseTimeValue: 257,
}];

test('the ICMP table is walked in the order of its keys', () => {
  const rows = rowsOf(walk(port, 'velmorIcmpProbeTable', '--max-repetitions', '3'));
  assert.deepEqual(rows.map(({ index }) => index), icmpRows.map(({ key }) => key));
  assert.deepEqual(rows[1], {
    index: 'labweb1192.0.2.107',
    velmorIcmpProbeClient: 'lab',
    velmorIcmpProbeHost: 'web1',
    velmorIcmpProbeIpAddrType: 1,
    velmorIcmpProbeIpAddr: 'c000020a',
    velmorIcmpProbeIfIndex: 7,
    velmorIcmpProbeLatencyPrecision: 3,
    velmorIcmpProbeLatencyValue: 12345,
    velmorIcmpProbeJitterPrecision: 1,
    velmorIcmpProbeJitterValue: 2,
    velmorIcmpProbePacketLoss: 0,
  });
});

test('the HTTP table is walked, with text in UTF-8', () => {
  assert.deepEqual(rowsOf(walk(port, 'velmorHttpProbeTable')), httpAsJson);
});

test('the TCP table is walked, with an IPv6 address', () => {
  const [row, ...others] = rowsOf(walk(port, 'velmorTcpProbeTable'));
  assert.deepEqual(others, []);
  assert.equal(row.velmorTcpProbeIpAddr, '20010db8000000000000000000000001');
  assert.equal(row.velmorTcpProbePort, 5432);
  assert.equal(row.velmorTcpProbeLatencyValue, 15);
});

const v3 = ['--user', user.name, '--auth', `sha256:${user.auth}`, '--priv', `aes:${user.priv}`];

test('a table is walked by SNMPv3', () => {
  assert.deepEqual(rowsOf(walk(port, 'velmorHttpProbeTable', ...v3)), httpAsJson);
});

const hosts = (walked) => rowsOf(walked).map(({ velmorTcpProbeHost: host }) => host);

test('an SNMPv3 context has rows of its own', () => {
  assert.deepEqual(hosts(walk(port, 'velmorTcpProbeTable', ...v3, '--context', 'blue')), ['db-blue']);
  assert.deepEqual(hosts(walk(port, 'velmorTcpProbeTable', ...v3)), ['db1']);
});

test('a context is reached through its community', () => {
  assert.deepEqual(hosts(walk(port, 'velmorTcpProbeTable', '--community', 'public@blue')), ['db-blue']);
});

test('an agent that does not answer fails the walk', () => {
  const { status, stdout, stderr } =
    walk(port, 'velmorTcpProbeTable', '--community', 'wrong', '--timeout', '200');
  assert.deepEqual({ status, stdout }, { status: 1, stdout: '' });
  assert.match(stderr, /timed out/);
});

test('a table that the MIB does not have is refused', () => {
  const { status, stderr } = walk(port, 'velmorUdpProbeTable');
  assert.equal(status, 1);
  assert.match(stderr, /has no table velmorUdpProbeTable/);
});

const faults = {
  'a Gauge32 for an INTEGER': [{ port: ['gauge', 5432] }, /velmorTcpProbePort .*: type Gauge instead of Integer/],
  'an integer for a string': [{ host: integer(1) }, /velmorTcpProbeHost .*: type Integer instead of OctetString/],
  'a precision of 4': [{ precision: integer(4) }, /velmorTcpProbeLatencyPrecision .*: value 4 is out of range/],
  'a column too many': [{ more: integer(0) }, /belongs to no readable column/],
};
for (const [fault, [cells, message]] of Object.entries(faults)) {
  test(`${fault} fails the walk`, async () => {
    const { status, stdout, stderr } =
      walk(await startAgent(tableObjects(3, [tcpRow(cells)])), 'velmorTcpProbeTable');
    assert.deepEqual({ status, stdout }, { status: 1, stdout: '' });
    assert.match(stderr, message);
  });
}

test('an agent that repeats itself fails the walk', async () => {
  const [object] = tableObjects(3, [tcpRow()]);
  const { status, stderr } = walk(await startAgent([object, object]), 'velmorTcpProbeTable');
  assert.equal(status, 1);
  assert.match(stderr, /comes after/);
});

test('an index whose length lies fails the walk', async () => {
  const objects = [['.1.3.6.1.4.1.61111.3.38.1.3.1.2.3.97.98', 'string', 'lab']];
  const { status, stderr } = walk(await startAgent(objects), 'velmorTcpProbeTable');
  assert.equal(status, 1);
  assert.match(stderr, /the index is not a string with its length/);
});

test('a table without rows is walked', async () => {
  assert.deepEqual(rowsOf(walk(await startAgent(tableObjects(2, httpRows)), 'velmorTcpProbeTable')), []);
});

test('snmptable prints a table by name', () => {
  const { status, stdout, stderr } = run('snmptable', '-v2c', '-c', 'public', '-Ci', '-CB', '-Cf', '|', '-CH', '-OU',
    `127.0.0.1:${port}`, 'VELMOR-CONMON-MIB::velmorIcmpProbeTable');
  assert.deepEqual({ status, stderr }, { status: 0, stderr: '' });
  assert.deepEqual(stdout.trim().split('\n').map((line) => line.split('|')), [
    ['"labns192.0.2.530"', 'lab', 'ns', 'ipv4', '"C0 00 02 35 "', '0', '0', '0', '0', '0', '100'],
    ['"labweb1192.0.2.107"', 'lab', 'web1', 'ipv4', '"C0 00 02 0A "', '7', '3', '12345', '1', '2', '0'],
  ]);
});

test('an instance is read by name and with its unit', () => {
  const { stdout } = run('snmpget', '-v2c', '-c', 'public', `127.0.0.1:${port}`,
    'velmorIcmpProbeLatencyValue."labweb1192.0.2.107"', 'velmorIcmpProbePacketLoss."labweb1192.0.2.107"');
  assert.deepEqual(stdout.trim().split('\n'), [
    'VELMOR-CONMON-MIB::velmorIcmpProbeLatencyValue."labweb1192.0.2.107" = INTEGER: 12345 milliseconds x 10^-precision',
    'VELMOR-CONMON-MIB::velmorIcmpProbePacketLoss."labweb1192.0.2.107" = INTEGER: 0 percent',
  ]);
});
