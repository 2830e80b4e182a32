// The engines of the suite: how each program is started, and whether it is there.
import { spawn, spawnSync } from 'node:child_process';
import { createInterface } from 'node:readline';
import { fileURLToPath } from 'node:url';
import { digestFor, queries, sqlFor } from './queries.mjs';

const FOLDER = fileURLToPath(new URL('.', import.meta.url));
export const SUITE = fileURLToPath(new URL('../build/bench/bin/sqxer_suite', import.meta.url));

const UNLIMITED = 1e9;
const own = (name) => (columns, job) => [SUITE, [name, ...job]];
const peer = (name) => (columns, job) => {
  return [process.execPath, [`peers/${name}.mjs`, ...job, columns]];
};

/**
 * In the order of the tables. `limit`: seconds of a first run beyond which a query is not run
 * again. `module`: the npm package that must be there.
 */
export const engines = {
  sqxer: { title: 'sqxer', command: own('sqxer'), limit: UNLIMITED },
  duckdb: {
    title: 'DuckDB',
    command: peer('duckdb'),
    limit: UNLIMITED,
    module: '@duckdb/node-api',
  },
  clickhouse: {
    title: 'ClickHouse',
    command: peer('clickhouse'),
    limit: UNLIMITED,
    module: 'chdb',
  },
  sqlite: { title: 'SQLite', command: own('sqlite'), limit: 1 },
  handwritten: { title: 'by hand', command: own('handwritten'), limit: UNLIMITED },
};

/** Why the engine cannot take part; nothing when it can. */
export function missing(name) {
  const { module } = engines[name];
  if (!module) return undefined;
  const probe = ['--input-type=module', '--eval', `await import('${module}')`];
  const { status, stderr } = spawnSync(process.execPath, probe, { cwd: FOLDER, encoding: 'utf8' });
  if (status === 0) return undefined;
  const reason = /^\w*Error.*$/m.exec(stderr);
  // The message ends with the folders that were searched.
  return `${module} cannot be loaded (${reason ? reason[0].split(' imported from')[0] : status})`;
}

/** What a program prints to standard output; throws when it fails. */
function output(command, args) {
  const { status, stdout, stderr, error } = spawnSync(command, args, { encoding: 'utf8' });
  if (status !== 0) throw error ?? new Error(stderr.trim());
  return stdout;
}

export const writeTable = (rows, path) => output(SUITE, ['write', String(rows), path]);

/**
 * Loads the table of the file into the engine and runs every query. Gives the engine's `version`,
 * `answers` by the name of the query ({ ns, cpu_ns, rows } or { error }), and `failure` when the
 * program did not come to its end.
 */
export async function run(name, path, runs) {
  const { command, limit } = engines[name];
  const columns = output(SUITE, ['columns']).trim();
  const [program, args] = command(columns, [path, String(runs), String(limit)]);
  const child = spawn(program, args, { cwd: FOLDER, stdio: ['pipe', 'pipe', 'inherit'] });
  const ended = new Promise((resolve) => {
    child.on('error', (error) => resolve(error.message));
    child.on('close', (status, signal) => resolve(status === 0 ? undefined : (signal ?? status)));
  });
  // A program that ends early says so by its status.
  child.stdin.on('error', () => {});
  const asked = queries.filter((query) => sqlFor(query, name) !== null);
  for (const query of asked) {
    child.stdin.write([query.name, sqlFor(query, name), digestFor(query, name)].join('\t') + '\n');
  }
  child.stdin.end();
  const answers = new Map();
  let version;
  for await (const line of createInterface({ input: child.stdout })) {
    const answer = JSON.parse(line);
    if (answer.version) version = answer.version;
    else answers.set(answer.name, answer);
  }
  const status = await ended;
  const failure = status === undefined ? undefined : `ended with ${status}`;
  return { version, answers, failure };
}
