// How time grows with rows: node bench/growth.mjs [--rows N,N,...] [--runs N] [--engines A,B]
// [--no-write]. Runs the suite at each size and fits the exponent of time against rows per query.
// Ends with status 1 when an engine fails, or sqxer grows faster than a query's limit without a
// reason in queries.mjs.
import { mkdirSync, writeFileSync } from 'node:fs';
import { engines, run } from './engines.mjs';
import { load, machine, today } from './machine.mjs';
import { available, count, read, withTable } from './options.mjs';
import { GROWTH, queries } from './queries.mjs';
import { growthCells, plain } from './table.mjs';

const problems = [];

/** The fastest runs in nanoseconds: by engine and query a list by size, null for no run. */
async function measure(names, sizes, runs) {
  const fastest = Object.fromEntries(names.map((name) => [name, {}]));
  for (const rows of sizes) {
    await withTable(rows, async (path) => {
      for (const name of names) {
        const { answers, failure } = await run(name, path, runs);
        if (failure) problems.push(`${engines[name].title} at ${rows} rows ${failure}`);
        for (const query of queries) {
          const times = answers.get(query.name)?.ns;
          (fastest[name][query.name] ??= []).push(times ? Math.min(...times) : null);
        }
        console.error(`${rows} rows: ${engines[name].title}`);
      }
    });
  }
  return fastest;
}

/** The slope of the logarithm of time over that of rows, by least squares. */
function exponent(sizes, times) {
  const points = sizes.flatMap((rows, i) => {
    return times[i] === null ? [] : [[Math.log(rows), Math.log(times[i])]];
  });
  if (points.length < 2) return null;
  const mean = (of) => points.reduce((sum, point) => sum + of(point), 0) / points.length;
  const [x, y] = [mean((point) => point[0]), mean((point) => point[1])];
  const slope = mean((p) => (p[0] - x) * (p[1] - y)) / mean((p) => (p[0] - x) ** 2);
  return Number(slope.toFixed(2));
}

function figures(query, sizes, fastest) {
  const each = (of) => {
    const values = Object.entries(fastest).map(([name, times]) => [name, of(times[query.name])]);
    return Object.fromEntries(values);
  };
  const perRow = (time, i) => time && Number((time / sizes[i]).toPrecision(4));
  return {
    name: query.name,
    limit: query.growth ?? GROWTH,
    exponent: each((times) => exponent(sizes, times)),
    ns_per_row: each((times) => times.map(perRow)),
  };
}

function judge({ name, limit, exponent: found }) {
  if (!(found.sqxer > limit)) return;
  const { growthReason } = queries.find((query) => query.name === name);
  const text = `${name} grows by ${found.sqxer}, not ${limit}`;
  if (growthReason) console.log(`${text}: ${growthReason}`);
  else problems.push(`${text}, without a reason`);
}

function write(result) {
  const folder = new URL('growth/', import.meta.url);
  mkdirSync(folder, { recursive: true });
  writeFileSync(new URL(`${result.date}.json`, folder), JSON.stringify(result, null, 1) + '\n');
  console.log(`written to bench/growth/${result.date}.json`);
}

const SIZES = '500000,1000000,2000000,4000000,8000000';
const options = read({ rows: SIZES, runs: '5', engines: 'sqxer,duckdb,handwritten' }, ['no-write']);
const sizes = options.rows.split(',').map(count);
const busy = load();
const fastest = await measure(available(options.engines), sizes, count(options.runs));
const result = {
  date: today(),
  machine: machine(),
  load: busy,
  rows: sizes,
  queries: queries.map((query) => figures(query, sizes, fastest)),
};
console.log(`\n${result.machine}\n`);
console.log(plain(growthCells(result, (query) => query.name)));
if (busy > 0.5) console.log(`\nThe machine was busy before the run: load ${busy}.`);
for (const query of result.queries) judge(query);
if (!options['no-write']) write(result);
for (const problem of problems) console.log(`FAILED ${problem}`);
process.exitCode = problems.length === 0 ? 0 : 1;
