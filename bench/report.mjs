// Puts the newest results into docs/performance.md: node bench/report.mjs
import { existsSync, readdirSync, readFileSync, writeFileSync } from 'node:fs';
import { engines } from './engines.mjs';
import { queries } from './queries.mjs';
import { cells, growthCells, markdown } from './table.mjs';

const PAGE = new URL('../docs/performance.md', import.meta.url);

/** The newest file of a folder; nothing when there is none. */
function newest(folder) {
  const url = new URL(folder, import.meta.url);
  const names = existsSync(url) ? readdirSync(url).filter((name) => name.endsWith('.json')) : [];
  if (names.length === 0) return undefined;
  return JSON.parse(readFileSync(new URL(names.sort().at(-1), url), 'utf8'));
}

const thousands = (count) => count.toLocaleString('en-US');
/** A query as the documents name it; results may be older than the list. */
const what = ({ name }) => queries.find((query) => query.name === name)?.what ?? name;
const busy = ({ load }) => (load > 0.5 ? ` The machine had other work too (load ${load}).` : '');

function results(result) {
  const versions = Object.entries(result.versions)
    .filter(([name]) => engines[name])
    .map(([name, version]) => `${engines[name].title} ${version}`);
  return `Of ${result.date}, ${thousands(result.rows)} rows, on: ${result.machine}.${busy(result)}
${versions.join(', ')}.

${markdown(cells(result, what))}`;
}

const growth = (result) => `Of ${result.date}, on: ${result.machine}.${busy(result)}

${markdown(growthCells(result, what))}`;

/** The page with the text between the two marks of a section replaced. */
function replace(page, section, text) {
  const pattern = new RegExp(`(<!-- ${section} -->\n)[^]*?(<!-- end of ${section} -->)`);
  if (!pattern.test(page)) throw new Error(`docs/performance.md has no section ${section}`);
  return page.replace(pattern, (_, start, end) => `${start}\n${text}\n\n${end}`);
}

let page = readFileSync(PAGE, 'utf8');
const [last, lastGrowth] = [newest('results/'), newest('growth/')];
if (last) page = replace(page, 'results', results(last));
if (lastGrowth) page = replace(page, 'growth', growth(lastGrowth));
writeFileSync(PAGE, page);
