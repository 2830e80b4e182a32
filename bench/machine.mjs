// What a run says of the machine that it ran on.
import { readFileSync } from 'node:fs';
import os from 'node:os';

const distribution = () => {
  try {
    return /^PRETTY_NAME="?([^"\n]*)/m.exec(readFileSync('/etc/os-release', 'utf8'))[1];
  } catch {
    return os.type();
  }
};

export const machine = () => {
  const processors = os.cpus();
  const memory = `${Math.round(os.totalmem() / 2 ** 30)} GiB`;
  const parts = [processors[0].model, `${processors.length} processors`, memory, distribution()];
  return parts.join(', ');
};

/** Processes that wanted a processor during the last minute: near 0 on a machine that is free. */
export const load = () => Number(os.loadavg()[0].toFixed(2));

export const today = () => new Date().toISOString().slice(0, 10);
