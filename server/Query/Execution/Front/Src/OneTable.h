#pragma once

#include "Catalog.h"

namespace sqxer::engine {

/// A catalog with one table, whatever it is called, of which nothing but its columns is known.
class OneTable : public Catalog {
 public:
  /// The schema must outlive it.
  explicit OneTable(const TableSchema& schema) : schema_(schema) {}
  const TableSchema* FindTable(const XeString&, const TableRequest&) override { return &schema_; }

 private:
  const TableSchema& schema_;
};

}  // namespace sqxer::engine
