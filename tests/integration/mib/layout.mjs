// The published numbers of the module, written down once more and independently of the MIB text: a
// manager depends on every one of them, so none may change.

export const module = 'VELMOR-CONMON-MIB';
const arc = '.1.3.6.1.4.1.61111.3.38';

const integer = 'integer';
const octets = 'octets';

// By table: the columns from 1 upward, each with its type on the wire. The first is the index.
const tables = {
  velmorIcmpProbe: [1, [
    ['Index', octets], ['Client', octets], ['Host', octets], ['IpAddrType', integer],
    ['IpAddr', octets], ['IfIndex', integer], ['LatencyPrecision', integer],
    ['LatencyValue', integer], ['JitterPrecision', integer], ['JitterValue', integer],
    ['PacketLoss', integer],
  ]],
  velmorHttpProbe: [2, [
    ['Index', octets], ['Client', octets], ['Host', octets], ['Url', octets],
    ['IfIndex', integer], ['ResponseTimePrec', integer], ['ResponseTimeValue', integer],
  ]],
  velmorTcpProbe: [3, [
    ['Index', octets], ['Client', octets], ['Host', octets], ['IpAddrType', integer],
    ['IpAddr', octets], ['Port', integer], ['IfIndex', integer], ['LatencyPrecision', integer],
    ['LatencyValue', integer],
  ]],
};

export const tableNodes = [];
export const columnNodes = [];
for (const [prefix, [number, columns]] of Object.entries(tables)) {
  const table = `${arc}.1.${number}`;
  tableNodes.push([`${prefix}Table`, table], [`${prefix}Entry`, `${table}.1`]);
  columns.forEach(([name, type], at) => {
    const access = at === 0 ? 'not-accessible' : 'read-only';
    columnNodes.push({ name: prefix + name, oid: `${table}.1.${at + 1}`, type, access });
  });
}

export const otherNodes = [
  ['velmor', '.1.3.6.1.4.1.61111'],
  ['velmorMibs', '.1.3.6.1.4.1.61111.3'],
  ['velmorConMonMIB', arc],
  ['velmorConMonObjects', `${arc}.1`],
  ['velmorConMonConformance', `${arc}.2`],
  ['velmorConMonGroups', `${arc}.2.1`],
  ['velmorIcmpProbeGroup', `${arc}.2.1.1`],
  ['velmorHttpProbeGroup', `${arc}.2.1.2`],
  ['velmorTcpProbeGroup', `${arc}.2.1.3`],
  ['velmorConMonCompliances', `${arc}.2.2`],
  ['velmorConMonCompliance', `${arc}.2.2.1`],
];

export const allNodes = [
  ...otherNodes, ...tableNodes, ...columnNodes.map(({ name, oid }) => [name, oid]),
];
