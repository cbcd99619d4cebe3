// Serves fixed objects to a stock snmpd through its pass_persist directive:
//
//   node pass-agent.mjs FILE
//
// FILE is a JSON array of [OID, TYPE, VALUE], with snmpd's names of types. The order of the array is
// the order of a walk, also where it is wrong.
import { readFileSync } from 'node:fs';
import { createInterface } from 'node:readline';

const objects = JSON.parse(readFileSync(process.argv[2], 'utf8'));

function follows(oid, other) {
  const [a, b] = [oid, other].map((text) => text.split('.').slice(1).map(Number));
  const i = a.findIndex((subId, at) => subId !== b[at]);
  return i >= 0 && (i >= b.length || a[i] > b[i]);
}

const lines = createInterface({ input: process.stdin })[Symbol.asyncIterator]();
const nextLine = async () => (await lines.next()).value ?? '';

for (let command = await nextLine(); command !== ''; command = await nextLine()) {
  if (command === 'PING') {
    process.stdout.write('PONG\n');
    continue;
  }
  const asked = await nextLine();
  const at = objects.findIndex(([oid]) => oid === asked);
  const found = command === 'get' || at >= 0
    ? objects[command === 'get' ? at : at + 1]
    : objects.find(([oid]) => follows(oid, asked));
  process.stdout.write(found ? `${found.join('\n')}\n` : 'NONE\n');
}
