#pragma once

#include <vector>

#include "ResultSink.h"

namespace sqxer {

/// A sink for the runs that nobody looks at.
class NullSink : public ResultSink {
 public:
  void Begin(const std::vector<ColumnInfo>&, const XeRecordMetaData&) override {}
  void Row(const uint8*) override {}
  void End() override {}
};

/// The same for rows that come as they would for a result.
class DiscardingSink final : public NullSink {
 public:
  bool TakesBatches() const override { return true; }
};

/// Keeps the lines of EXPLAIN.
class PlanLines final : public NullSink {
 public:
  bool Plan(const std::vector<XeString>& plan) override {
    lines = plan;
    return true;
  }
  std::vector<XeString> lines;
};

/// Gives the lines of EXPLAIN to a sink, as it takes them.
void SendLines(const std::vector<XeString>& lines, ResultSink& sink);

}  // namespace sqxer
