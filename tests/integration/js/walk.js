// Walks a table of VELMOR-CONMON-MIB with an SNMP client that shares no code with the agent, and
// prints its rows as JSON, in the order of the walk:
//
//   node walk.js [OPTION...] HOST PORT TABLE
//
//   --community NAME         SNMPv2c with this community ("public" unless --user is given)
//   --user NAME              SNMPv3 with this user
//   --auth PROTOCOL:KEY      authentication, e.g. sha256:KEY
//   --priv PROTOCOL:KEY      privacy, e.g. aes:KEY
//   --context NAME           SNMPv3 context; the default context without it
//   --max-repetitions N      rows asked for in one GETBULK (20)
//   --timeout MILLISECONDS   for each of two tries (5000)
//
// A row is an object with `index` and the columns by name: integers as numbers, text as strings,
// addresses as strings of hexadecimal digits. A column that was not seen for a row is left out,
// which happens when the row comes or goes during the walk.
//
// Fails with one line on standard error and exit code 1 if the agent does not answer or answers with
// an error, if object identifiers do not ascend strictly, or if one of them, or a value's type, range
// or size, is not as the MIB says.
'use strict';

const { parseArgs } = require('util');
const { describeTable, snmp } = require('./mib-table.js');

const options = {
  community: { type: 'string', default: 'public' },
  user: { type: 'string' },
  auth: { type: 'string' },
  priv: { type: 'string' },
  context: { type: 'string', default: '' },
  'max-repetitions': { type: 'string', default: '20' },
  timeout: { type: 'string', default: '5000' },
};

function protocolAndKey(text, protocols) {
  const colon = text.indexOf(':');
  const protocol = protocols[text.slice(0, colon)];
  if (colon < 0 || protocol === undefined) throw new Error(`not PROTOCOL:KEY: ${text}`);
  return { protocol, key: text.slice(colon + 1) };
}

function openSession(host, port, args) {
  const common = { port, timeout: Number(args.timeout), retries: 1 };
  if (args.user === undefined) {
    if (args.context !== '') throw new Error('--context needs --user');
    return snmp.createSession(host, args.community, { ...common, version: snmp.Version2c });
  }
  const user = { name: args.user, level: snmp.SecurityLevel.noAuthNoPriv };
  if (args.auth !== undefined) {
    const { protocol, key } = protocolAndKey(args.auth, snmp.AuthProtocols);
    Object.assign(user, {
      level: snmp.SecurityLevel.authNoPriv, authProtocol: protocol, authKey: key,
    });
  }
  if (args.priv !== undefined) {
    const { protocol, key } = protocolAndKey(args.priv, snmp.PrivProtocols);
    Object.assign(user, {
      level: snmp.SecurityLevel.authPriv, privProtocol: protocol, privKey: key,
    });
  }
  return snmp.createV3Session(host, user, { ...common, context: args.context });
}

function ascends(before, after) {
  const i = after.findIndex((subId, at) => subId !== before[at]);
  return i >= 0 && (i >= before.length || after[i] > before[i]);
}

// The order is checked on arrival: an agent that repeats itself would be walked forever.
function fetchSubtree(session, oid, maxRepetitions) {
  return new Promise((resolve, reject) => {
    const varbinds = [];
    let before = [];
    const collect = (more) => more.some((varbind) => {
      const subIds = varbind.oid.split('.').map(Number);
      if (!ascends(before, subIds)) {
        reject(new Error(`${varbind.oid} comes after ${before.join('.')}`));
        return true;
      }
      before = subIds;
      varbinds.push({ ...varbind, subIds });
      return false;
    });
    session.on('error', reject);
    session.subtree(oid, maxRepetitions, collect,
      (error) => (error ? reject(error) : resolve(varbinds)));
  });
}

function withinLimits(number, limits) {
  return limits === null || limits.some(({ min, max }) => number >= min && number <= max);
}

function decode(varbind, { name, tag, limits, convention }) {
  const fail = (what) => {
    throw new Error(`${name} ${varbind.oid}: ${what}`);
  };
  if (varbind.type !== tag) {
    fail(`type ${snmp.ObjectType[varbind.type]} instead of ${snmp.ObjectType[tag]}`);
  }
  const isInteger = tag === snmp.ObjectType.Integer;
  const measure = isInteger ? varbind.value : varbind.value.length;
  if (!withinLimits(measure, limits)) {
    fail(`${isInteger ? 'value' : 'size'} ${measure} is out of range`);
  }
  if (isInteger) return varbind.value;
  return varbind.value.toString(convention === 'InetAddress' ? 'hex' : 'utf8');
}

// The key in the sub-identifiers of an instance: a length, then that many octets.
function decodeIndex(subIds, { limits }, oid) {
  const [length, ...octets] = subIds;
  if (octets.length !== length || octets.some((octet) => octet > 255)) {
    throw new Error(`${oid}: the index is not a string with its length`);
  }
  if (!withinLimits(length, limits)) throw new Error(`${oid}: an index of ${length} octets`);
  return Buffer.from(octets).toString('utf8');
}

function toRows(varbinds, { entryOid, index, columns }) {
  const rows = new Map();
  const depth = entryOid.split('.').length;
  for (const varbind of varbinds) {
    const { subIds } = varbind;
    const column = columns.get(subIds[depth]);
    if (!column) throw new Error(`${varbind.oid} belongs to no readable column`);
    const instance = subIds.slice(depth + 1);
    const key = instance.join('.');
    if (!rows.has(key)) rows.set(key, { index: decodeIndex(instance, index, varbind.oid) });
    rows.get(key)[column.name] = decode(varbind, column);
  }
  return [...rows.values()];
}

async function main() {
  const { values, positionals } = parseArgs({ options, allowPositionals: true });
  if (positionals.length !== 3) throw new Error('usage: walk.js [OPTION...] HOST PORT TABLE');
  const [host, port, tableName] = positionals;
  const table = describeTable(tableName);
  const session = openSession(host, Number(port), values);
  try {
    const varbinds =
      await fetchSubtree(session, table.entryOid, Number(values['max-repetitions']));
    console.log(JSON.stringify(toRows(varbinds, table), null, 1));
  } finally {
    session.close();
  }
}

main().catch((error) => {
  console.error(`walk.js: ${error.message}`);
  process.exitCode = 1;
});
