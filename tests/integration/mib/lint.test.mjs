import assert from 'node:assert/strict';
import { readFileSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';
import test from 'node:test';
import { mibDir, mibFile, run, scratch } from './support.mjs';

// smilint ends with code 0 whatever it finds, so what it says is what counts. The empty
// configuration keeps a machine's own smi.conf from hiding a kind of finding.
function lint(file, level) {
  const { status, stdout, stderr } =
    run('smilint', '-c', '/dev/null', '-s', '-m', '-l', String(level), file);
  return { status, findings: stdout + stderr };
}

test('the module has no finding at the highest level', () => {
  assert.deepEqual(lint(mibFile, 6), { status: 0, findings: '' });
});

// Of a module of types only, smilint says at level 5 that it uses none of them itself.
test('the stand-in for the address types has no finding of a reviewer', () => {
  assert.deepEqual(lint(join(mibDir, 'INET-ADDRESS-MIB.txt'), 4), { status: 0, findings: '' });
});

const faults = {
  'a missing semicolon': ['FROM INET-ADDRESS-MIB;', 'FROM INET-ADDRESS-MIB', /syntax error/],
  'an unknown base module': ['FROM IF-MIB', 'FROM IFF-MIB', /IFF-MIB/],
  'a column that is in no group': ['        velmorTcpProbePort,\n', '', /velmorTcpProbePort/],
  'an index that can be read': [
    /(velmorHttpProbeIndex OBJECT-TYPE[^]*?)not-accessible/, '$1read-only', /velmorHttpProbeIndex/],
  'two columns with one number': [
    '{ velmorIcmpProbeEntry 11 }', '{ velmorIcmpProbeEntry 10 }', /velmorIcmpProbePacketLoss/],
  'an import that nothing uses': ['Integer32, enter', 'Integer32, Gauge32, enter', /Gauge32/],
};

for (const [fault, [original, broken, finding]] of Object.entries(faults)) {
  test(`a copy with ${fault} is found out`, () => {
    const text = readFileSync(mibFile, 'utf8');
    const brokenText = text.replace(original, broken);
    assert.notEqual(brokenText, text, 'the fault was not planted');
    const copy = join(scratch, 'broken.txt');
    writeFileSync(copy, brokenText);
    assert.match(lint(copy, 6).findings, finding);
  });
}
