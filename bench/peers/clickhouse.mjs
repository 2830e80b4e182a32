// ClickHouse, in process as chdb: a table of the engine Memory and one thread. A long result is
// made and dropped (the format Null), a short one written as text.
import { Session } from 'chdb';
import { declare, serve } from './serve.mjs';

const TYPES = {
  int4: 'Int32',
  double: 'Float64',
  numeric: 'Decimal()',
  date: 'Date',
  char: 'FixedString()',
  varchar: 'String',
};
// Strings have no declared length; an empty field is NULL, as in the other engines.
const typesOf = (columns) =>
  columns.map((column) => ({ ...column, type: column.type.replace(/^varchar.*/, 'varchar') }));

serve(async (path, columns) => {
  const session = new Session();
  const nullable = (type) => `Nullable(${type})`;
  const fields = declare(typesOf(columns), TYPES, nullable);
  session.query('SET max_threads = 1');
  session.query(`CREATE TABLE lines (${fields}) ENGINE = Memory`);
  session.query(
    `INSERT INTO lines SELECT * FROM file('${path}', 'CSVWithNames', '${fields}')
     SETTINGS format_csv_null_representation = ''`,
  );
  return {
    version: session.query('SELECT version()', 'TSV').trim(),
    fetch: (sql) => session.query(sql, 'JSONCompactEachRow'),
    exhaust: (sql) => session.query(sql, 'Null'),
    rows: (text) => text.split('\n').filter(Boolean).map((row) => JSON.parse(row)),
    close: () => session.close(),
  };
});
