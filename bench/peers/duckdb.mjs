// DuckDB: an in-memory database and one thread. Every result is materialised, as its C API does.
import { DuckDBInstance } from '@duckdb/node-api';
import { declare, serve } from './serve.mjs';

const TYPES = {
  int4: 'INTEGER',
  double: 'DOUBLE',
  numeric: 'DECIMAL()',
  date: 'DATE',
  char: 'VARCHAR',
  varchar: 'VARCHAR',
};

serve(async (path, columns) => {
  const instance = await DuckDBInstance.create(':memory:', { threads: '1' });
  const connection = await instance.connect();
  await connection.run(`CREATE TABLE lines (${declare(columns, TYPES, (type) => type)})`);
  await connection.run(`COPY lines FROM '${path}' (FORMAT csv, HEADER true, AUTO_DETECT false)`);
  const version = await connection.runAndReadAll('SELECT version()');
  return {
    version: version.getRowsJson()[0][0],
    fetch: (sql) => connection.run(sql),
    exhaust: (sql) => connection.run(sql),
    rows: (result) => result.getRowsJson(),
    close: () => connection.closeSync(),
  };
});
