// The figures of a run as a table of texts: for the terminal and for the documents.
import { engines } from './engines.mjs';

const digits = (number) => (number < 10 ? number.toFixed(1) : Math.round(number).toString());
const ratio = (number) => (number < 10 ? number.toFixed(2) : number.toFixed(0));

/** sqxer's time over the other engine's; nothing when one of them has none. */
const over = (query, engine) => {
  const { sqxer, [engine]: other } = query.ns_per_row;
  return sqxer && other ? sqxer / other : undefined;
};

const mean = (numbers) => {
  return Math.exp(numbers.reduce((sum, x) => sum + Math.log(x), 0) / numbers.length);
};

/** Cells of texts, the header first. `what(query)` gives the first cell of a row. */
export function cells(result, what) {
  const present = Object.keys(engines).filter((name) =>
    result.queries.some((query) => query.ns_per_row[name]),
  );
  const others = present.filter((name) => name !== 'sqxer');
  const header = [
    'ns per row',
    ...present.map((name) => engines[name].title),
    ...others.map((name) => `/ ${engines[name].title}`),
  ];
  const rows = result.queries.map((query) => [
    what(query),
    ...present.map((name) => {
      const ns = query.ns_per_row[name];
      return ns ? digits(ns) + (query.runs[name] < result.runs ? '*' : '') : '-';
    }),
    ...others.map((name) => (over(query, name) ? ratio(over(query, name)) : '-')),
  ]);
  const means = others.map((name) => {
    const ratios = result.queries.map((query) => over(query, name)).filter(Boolean);
    return ratios.length === 0 ? '-' : ratio(mean(ratios));
  });
  return [header, ...rows, ['geometric mean', ...present.map(() => ''), ...means]];
}

/** sqxer's time per row at each size, and every engine's exponent of time against rows. */
export function growthCells({ rows, queries }, what) {
  const names = Object.keys(queries[0].exponent);
  const cell = (number) => (number === null ? '-' : digits(number));
  const header = [
    'ns per row of sqxer',
    ...rows.map((count) => `${count / 1e6}M`),
    ...names.map((name) => `exponent ${engines[name].title}`),
  ];
  const lines = queries.map((query) => [
    what(query),
    ...(query.ns_per_row.sqxer ?? rows.map(() => null)).map(cell),
    ...names.map((name) => query.exponent[name]?.toFixed(2) ?? '-'),
  ]);
  return [header, ...lines];
}

/** Aligned columns, the first to the left. */
export function plain(table) {
  const widths = table[0].map((_, i) => Math.max(...table.map((row) => row[i].length)));
  const line = (row) =>
    row.map((cell, i) => (i === 0 ? cell.padEnd(widths[i]) : cell.padStart(widths[i]))).join('  ');
  return table.map(line).join('\n');
}

export function markdown([header, ...rows]) {
  const line = (row) => `| ${row.join(' | ')} |`;
  const rule = `|---|${'---:|'.repeat(header.length - 1)}`;
  return [line(header), rule, ...rows.map(line)].join('\n');
}
