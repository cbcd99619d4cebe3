import assert from 'node:assert/strict';
import test from 'node:test';
import { allNodes, columnNodes, module } from './layout.mjs';
import { run } from './support.mjs';

// One answer a line and question; anything on standard error is a complaint about the MIB text.
function translate(options, questions) {
  const { status, stdout, stderr } = run('snmptranslate', ...options, ...questions);
  assert.deepEqual({ status, stderr }, { status: 0, stderr: '' });
  return stdout.split('\n').filter((line) => line !== '');
}

test('every name has its number', () => {
  const numbers = translate(['-On'], allNodes.map(([name]) => `${module}::${name}`));
  assert.deepEqual(numbers, allNodes.map(([, oid]) => oid));
});

test('every number has its name', () => {
  const names = translate([], allNodes.map(([, oid]) => oid));
  assert.deepEqual(names, allNodes.map(([name]) => `${module}::${name}`));
});

test('the module defines these nodes and no others', () => {
  const found = translate(['-On', '-TB', '^velmor'], []);
  assert.deepEqual(found.sort(), allNodes.map(([, oid]) => oid).sort());
});

for (const { name, oid, type, access } of columnNodes) {
  test(`${name} is ${access} and of type ${type}`, () => {
    const text = translate(['-Td'], [oid]).join('\n');
    const syntax = { integer: /^ +SYNTAX\tINTEGER |^ +SYNTAX\tInteger32\b/m, octets: /^ +SYNTAX\tOCTET STRING /m };
    assert.match(text, syntax[type]);
    assert.match(text, new RegExp(`^ +MAX-ACCESS\t${access}$`, 'm'));
  });
}

test('an instance is written with its index as text', () => {
  const oid = '.1.3.6.1.4.1.61111.3.38.1.2.1.2.2.97.98';
  const name = `${module}::velmorHttpProbeClient."ab"`;
  assert.deepEqual(translate([], [oid]), [name]);
  assert.deepEqual(translate(['-On'], [name]), [oid]);
});

test('a name that the module does not define is not translated', () => {
  assert.notEqual(run('snmptranslate', '-On', `${module}::velmorHttpProbeResponseTimePrecision`).status, 0);
});
