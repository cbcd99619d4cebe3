// Where things are, and how the tests run a program.
import { spawnSync } from 'node:child_process';
import { mkdirSync, mkdtempSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { fileURLToPath } from 'node:url';

export const root = fileURLToPath(new URL('../../..', import.meta.url));
export const mibDir = join(root, 'mibs');
export const mibFile = join(mibDir, 'VELMOR-CONMON-MIB.txt');
export const baseModuleDir = join(root, '.deps/npm/node_modules/net-snmp/lib/mibs');
export const mibPath = `${mibDir}:${baseModuleDir}`;

// A folder of this process's own, gone when it ends.
export const scratch = mkdtempSync(join(tmpdir(), 'conmon-mib-'));
process.on('exit', () => rmSync(scratch, { recursive: true, force: true }));
mkdirSync(join(scratch, 'cert_indexes')); // or the first SNMP program would report making it

// Nothing of the machine's or the user's SNMP configuration counts, and none is written.
export const environment = {
  ...process.env,
  LC_ALL: 'C.UTF-8',
  SMIPATH: mibPath,
  MIBDIRS: mibPath,
  MIBS: 'VELMOR-CONMON-MIB',
  SNMPCONFPATH: scratch,
  SNMP_PERSISTENT_DIR: scratch,
};

// {status, stdout, stderr} of a program that must at least start and end within half a minute.
export function run(program, ...args) {
  const result = spawnSync(program, args, {
    encoding: 'utf8', env: environment, timeout: 30_000, killSignal: 'SIGKILL',
  });
  if (result.error) throw result.error;
  return result;
}
