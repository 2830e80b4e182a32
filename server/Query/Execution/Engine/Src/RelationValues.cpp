#include "RelationValues.h"

#include "SQXERExprExtract.h"
#include "TableScan.h"
#include "WorkRecord.h"

namespace sqxer {

std::vector<PlanConstant> ReadValues(const Table& table, std::size_t column) {
  WorkRecord record({table.schema.columns[column]});
  TableScan scan(table.schema, {static_cast<uint16>(column)}, record);
  MetaDataInfo info;
  const std::unique_ptr<RExpression> tree =
      BindTree(std::make_unique<Extract>(0), record.GetStream(), info);
  std::vector<PlanConstant> values;
  for (const TableChunk& chunk : table.chunks) {
    scan.Enter(chunk);
    for (uint64 row = 0; row < chunk.rows; ++row) {
      scan.Fill(row);
      values.push_back(EvaluateConstant(*tree).value());
    }
  }
  return values;
}

}  // namespace sqxer
