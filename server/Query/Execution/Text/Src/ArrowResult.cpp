#include "ArrowResult.h"

#include "ArrowFile.h"
#include "ArrowHandle.h"
#include "ArrowWriter.h"

namespace sqxer {

void ArrowResult::PrintRows() {
  const ArrowWriter writer(chunks_.schema, chunks_.chunks, {});
  ArrowHandle<ArrowSchema> schema;
  writer.WriteSchema(schema.Get());
  ArrowFile file(*schema.Get(), [this](std::string_view bytes) { output_.Write(bytes); });
  for (TableChunk& chunk : chunks_.chunks) {
    ArrowHandle<ArrowArray> rows;
    writer.WriteArray(chunk, rows.Get());
    file.Add(*rows.Get());
    rows_ += chunk.rows;
    // Its memory is not needed any longer.
    chunk = {};
  }
  file.End();
}

}  // namespace sqxer
