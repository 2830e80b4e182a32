// What the programs of the peers share: the same job as `sqxer_suite ENGINE FILE RUNS SECONDS`,
// told by `node peers/ENGINE.mjs FILE RUNS SECONDS COLUMNS`, where COLUMNS is what
// `sqxer_suite columns` prints.
import { createInterface } from 'node:readline';

const spent = () => {
  const { user, system } = process.cpuUsage();
  return (user + system) * 1000;
};

async function measure(engine, [name, sql, digestSql], runs, seconds) {
  const ns = [];
  let result = null;
  const processor = spent();
  while (ns.length < runs && !(ns[0] > seconds * 1e9)) {
    result = null;
    const start = process.hrtime.bigint();
    result = digestSql ? await engine.exhaust(sql) : await engine.fetch(sql);
    ns.push(Number(process.hrtime.bigint() - start));
  }
  const cpu_ns = spent() - processor;
  if (digestSql) result = await engine.fetch(digestSql);
  const rows = await engine.rows(result);
  const texts = rows.map((row) => row.map((value) => (value === null ? null : String(value))));
  return { name, ns, cpu_ns, rows: texts };
}

/**
 * `load(path, columns)` gives the engine with the table in memory: `version`, `fetch(sql)`, which
 * runs a query to a result whose values `rows(result)` gives, `exhaust(sql)`, which runs one of
 * many rows to the last one, and `close()`.
 */
export async function serve(load) {
  const [path, runs, seconds, columns] = process.argv.slice(2);
  const engine = await load(path, JSON.parse(columns));
  process.stdout.write(JSON.stringify({ version: engine.version }) + '\n');
  for await (const line of createInterface({ input: process.stdin })) {
    const query = line.split('\t');
    let answer;
    try {
      answer = await measure(engine, query, Number(runs), Number(seconds));
    } catch (error) {
      answer = { name: query[0], error: String(error.message).split('\n')[0] };
    }
    process.stdout.write(JSON.stringify(answer) + '\n');
  }
  engine.close();
}

/** The columns as SQL, by the name of each type without its length. */
export function declare(columns, types, nullable) {
  return columns.map((column) => {
    const [, name, length] = /^(\w+)(\(.*\))?$/.exec(column.type);
    const type = types[name].replace('()', length ?? '');
    return `${column.name} ${column.nullable ? nullable(type) : type}`;
  });
}
