// The command line and the table's file, for both programs of the suite.
import { mkdtempSync, rmSync } from 'node:fs';
import { dirname, join } from 'node:path';
import { parseArgs } from 'node:util';
import { engines, missing, SUITE, writeTable } from './engines.mjs';

/** Ends the program: its command line is wrong. */
function refuse(message) {
  console.error(message);
  process.exit(2);
}

/** Options with a text each; `switches` are those without. */
export function read(defaults, switches) {
  const options = Object.fromEntries([
    ...Object.entries(defaults).map(([name, value]) => [name, { type: 'string', default: value }]),
    ...switches.map((name) => [name, { type: 'boolean', default: false }]),
  ]);
  let values;
  try {
    ({ values } = parseArgs({ options }));
  } catch (error) {
    refuse(error.message);
  }
  const asked = values.engines.split(',');
  const unknown = asked.find((name) => !Object.hasOwn(engines, name));
  if (unknown !== undefined) refuse(`there is no engine "${unknown}"`);
  return { ...values, engines: asked };
}

/** A whole number of a list or of one option. */
export function count(text) {
  if (!/^[1-9]\d*$/.test(text)) refuse(`this is no number of rows or runs: "${text}"`);
  return Number(text);
}

/** Those that can take part; says which cannot. */
export function available(names) {
  return names.filter((name) => {
    const reason = missing(name);
    if (reason) console.log(`${engines[name].title} is skipped: ${reason}`);
    return !reason;
  });
}

/** Writes the table into the build folder, hands its path to `use`, and removes it. */
export async function withTable(rows, use) {
  const folder = mkdtempSync(join(dirname(SUITE), 'lines-'));
  try {
    const path = join(folder, 'lines.csv');
    writeTable(rows, path);
    return await use(path);
  } finally {
    rmSync(folder, { recursive: true });
  }
}
