// What the MIB text says of one of its tables, as the JavaScript client's own parser reads it.
//
// The tables' shape is not written down here: a column that the text names wrongly, or gives another
// type than the agent sends, makes a walk fail.
'use strict';

const path = require('path');

const root = path.join(__dirname, '..', '..', '..');
const packageDir = path.join(root, '.deps', 'npm', 'node_modules', 'net-snmp');
const snmp = require(packageDir);

const moduleName = 'VELMOR-CONMON-MIB';
const baseTypes = new Map([
  ['INTEGER', snmp.ObjectType.Integer],
  ['Integer32', snmp.ObjectType.Integer],
  ['OCTET STRING', snmp.ObjectType.OctetString],
]);

function loadModules() {
  // Those that ours needs, in the order in which they need each other.
  const store = snmp.createModuleStore({
    baseModules: ['SNMPv2-SMI', 'SNMPv2-CONF', 'SNMPv2-TC', 'SNMPv2-MIB', 'IANAifType-MIB', 'IF-MIB'],
  });
  for (const name of ['INET-ADDRESS-MIB', moduleName]) {
    store.loadFromFile(path.join(root, 'mibs', `${name}.txt`));
  }
  return store.getModules(true);
}

// A SYNTAX clause down to its base type: {tag, limits, convention}. `limits` are the ranges of an
// integer or the sizes of a string, or null; `convention` is the name of the textual convention.
function resolveSyntax(syntax, modules) {
  const convention = typeof syntax === 'string' ? syntax : null;
  const definitionOf = (name) =>
    Object.values(modules).find((module) => module[name]?.MACRO === 'TEXTUAL-CONVENTION')?.[name];
  while (typeof syntax === 'string' && definitionOf(syntax)) syntax = definitionOf(syntax).SYNTAX;

  const [base, refinement] = typeof syntax === 'string' ? [syntax, {}] : Object.entries(syntax)[0];
  if (!baseTypes.has(base)) throw new Error(`no type is known for the syntax ${base}`);
  const limits = refinement.ranges ?? refinement.sizes ?? null;
  return { tag: baseTypes.get(base), limits, convention };
}

// {entryOid, index, columns}: `columns` holds the readable columns by number, each with its name
// beside what resolveSyntax tells; `index` is the syntax of the index.
function describeTable(name) {
  const modules = loadModules();
  const nodes = Object.values(modules[moduleName]).filter((node) => node.OID);
  const table = nodes.find((node) => node.ObjectName === name);
  const entry = table && nodes.find((node) => node.OID === `${table.OID}.1`);
  if (!entry) throw new Error(`${moduleName} has no table ${name}`);

  let index = null;
  const columns = new Map();
  for (const node of nodes) {
    if (!node.OID.startsWith(`${entry.OID}.`)) continue;
    const syntax = resolveSyntax(node.SYNTAX, modules);
    if (node['MAX-ACCESS'] === 'not-accessible') {
      index = syntax;
    } else {
      columns.set(Number(node.OID.slice(entry.OID.length + 1)), { name: node.ObjectName, ...syntax });
    }
  }
  return { entryOid: entry.OID, index, columns };
}

module.exports = { describeTable, snmp };
