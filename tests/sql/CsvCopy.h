#pragma once

#include "Capture.h"
#include "LineFormats.h"

namespace sqxer::test {

/// Keeps a result, and what is written of it as CSV.
class CsvCopy : public CapturingSink {
 public:
  void Begin(const std::vector<ColumnInfo>& columns, const XeRecordMetaData& layout) override {
    CapturingSink::Begin(columns, layout);
    csv_.Begin(columns, layout);
  }
  void Row(const uint8* record) override {
    CapturingSink::Row(record);
    csv_.Row(record);
  }
  void Batch(std::span<const BatchVector> vectors, const BatchRows& batch) override {
    CapturingSink::Batch(vectors, batch);
    csv_.Batch(vectors, batch);
  }
  void End() override {
    CapturingSink::End();
    csv_.Print();
  }

  /// Expects that the CSV reads back as a table, and with the types of the result as the same rows.
  void ExpectReadsBack() const;

 private:
  struct TextOutput : ResultOutput {
    void Write(std::string_view bytes) override { text += bytes; }
    std::string text;
  };
  TextOutput output_;
  CsvResult csv_{output_, TextLayout()};
};

}  // namespace sqxer::test
