// Whether two engines gave the same result: the same rows in any order, numbers equal to about nine
// digits, blanks at the end of texts not counted.

const TOLERANCE = 2e-9;
const NUMBER = /^[-+]?\d+(\.\d*)?([eE][-+]?\d+)?$/;

const sameValue = (a, b) => {
  if (a === null || b === null) return a === b;
  if (!NUMBER.test(a) || !NUMBER.test(b)) return a.trimEnd() === b.trimEnd();
  const [x, y] = [Number(a), Number(b)];
  return Math.abs(x - y) <= TOLERANCE * Math.max(Math.abs(x), Math.abs(y));
};

/** Rows in the order of their values; results by groups have the keys of the groups in front. */
const sorted = (rows) => {
  const key = (row) => JSON.stringify(row.map((value) => value?.trimEnd() ?? null));
  const keyed = rows.map((row) => [key(row), row]).sort(([a], [b]) => (a < b ? -1 : Number(a > b)));
  return keyed.map(([, row]) => row);
};

/** What differs first, as text; nothing when the results are the same. */
export function difference(expected, actual) {
  if (expected.length !== actual.length) return `${actual.length} rows, not ${expected.length}`;
  const [a, b] = [sorted(expected), sorted(actual)];
  const at = a.findIndex((row, i) => {
    return row.length !== b[i].length || !row.every((value, j) => sameValue(value, b[i][j]));
  });
  return at < 0 ? undefined : `${JSON.stringify(b[at])}, not ${JSON.stringify(a[at])}`;
}
