// Runs the suite: node bench/suite.mjs [--rows N] [--runs N] [--engines A,B] [--no-write]
// Ends with status 1 when engines differ in a result, or one fails.
import { mkdirSync, writeFileSync } from 'node:fs';
import { difference } from './compare.mjs';
import { engines, run } from './engines.mjs';
import { load, machine, today } from './machine.mjs';
import { available, count, read, withTable } from './options.mjs';
import { queries } from './queries.mjs';
import { cells, plain } from './table.mjs';

const problems = [];
const note = (problem) => problems.push(problem);

/** More than this much processor time per time is more than one thread. */
const THREADS = 1.25;
const ENOUGH_NS = 2e8;

/** Every engine's run, in turn. */
async function runAll(names, rows, runs) {
  const results = new Map();
  await withTable(rows, async (path) => {
    for (const name of names) {
      const start = Date.now();
      const result = await run(name, path, runs);
      const seconds = ((Date.now() - start) / 1000).toFixed(0);
      console.error(`${engines[name].title} ${result.version ?? ''}: ${seconds} s`);
      if (result.failure) note(`${engines[name].title} ${result.failure}`);
      results.set(name, result);
    }
  });
  return results;
}

/** All results of a query must be that of the first engine. */
function check(query, results) {
  const given = [...results].filter(([, result]) => result.answers.get(query.name)?.rows);
  for (const [name, { answers }] of given.slice(1)) {
    const [first, { answers: others }] = given[0];
    const found = difference(others.get(query.name).rows, answers.get(query.name).rows);
    if (found) note(`${query.name}: ${name} differs from ${first}: ${found}`);
  }
  for (const [name, { answers }] of results) {
    const { error, ns, cpu_ns } = answers.get(query.name) ?? {};
    if (error) note(`${query.name}: skipped by ${engines[name].title}: ${error}`);
    const time = ns?.reduce((sum, x) => sum + x, 0);
    if (time > ENOUGH_NS && cpu_ns > THREADS * time) {
      note(`${query.name}: ${engines[name].title} used ${(cpu_ns / time).toFixed(1)} threads`);
    }
  }
}

const median = (times) => {
  const sorted = [...times].sort((a, b) => a - b);
  const middle = sorted.length >> 1;
  return sorted.length % 2 ? sorted[middle] : (sorted[middle - 1] + sorted[middle]) / 2;
};

function figures(query, results, rows) {
  const each = (of) => {
    const values = [...results].map(([name, { answers }]) => {
      const answer = answers.get(query.name);
      return [name, answer?.ns ? of(answer) : null];
    });
    return Object.fromEntries(values);
  };
  const perRow = (ns) => Number((ns / rows).toPrecision(4));
  const errors = [...results].map(([name, { answers }]) => [name, answers.get(query.name)?.error]);
  const skipped = errors.filter(([, error]) => error);
  return {
    name: query.name,
    ns_per_row: each(({ ns }) => perRow(Math.min(...ns))),
    median_ns_per_row: each(({ ns }) => perRow(median(ns))),
    runs: each(({ ns }) => ns.length),
    ...(skipped.length > 0 && { skipped: Object.fromEntries(skipped) }),
  };
}

function write(result) {
  const folder = new URL('results/', import.meta.url);
  mkdirSync(folder, { recursive: true });
  writeFileSync(new URL(`${result.date}.json`, folder), JSON.stringify(result, null, 1) + '\n');
  console.log(`written to bench/results/${result.date}.json`);
}

const options = read({ rows: '4000000', runs: '5', engines: Object.keys(engines).join(',') }, [
  'no-write',
]);
const [rows, runs] = [count(options.rows), count(options.runs)];
const busy = load();
const results = await runAll(available(options.engines), rows, runs);
for (const query of queries) check(query, results);
const result = {
  date: today(),
  machine: machine(),
  load: busy,
  rows,
  runs,
  versions: Object.fromEntries([...results].map(([name, { version }]) => [name, version])),
  queries: queries.map((query) => figures(query, results, rows)),
};
console.log(`\n${result.machine}\n${rows} rows, the fastest of ${runs} runs (* fewer)\n`);
console.log(plain(cells(result, (query) => query.name)));
if (busy > 0.5) console.log(`\nThe machine was busy before the run: load ${busy}.`);
if (!options['no-write']) write(result);
for (const problem of problems) console.log(`FAILED ${problem}`);
console.log(problems.length === 0 ? 'all results are equal' : `${problems.length} failed`);
process.exitCode = problems.length === 0 ? 0 : 1;
