#pragma once

#include "Catalog.h"

namespace sqxer {

/// A catalog with one table, whatever it is called, of which nothing but its columns is known.
class OneTable : public Catalog {
 public:
  /// Both must outlive it; `functions` may be null.
  explicit OneTable(const TableSchema& schema, const AddedFunctions* functions = nullptr)
      : schema_(schema), functions_(functions) {}
  const TableSchema* FindTable(const XeString&, const TableRequest&) override { return &schema_; }
  AddedFunctionPtr FindFunction(std::string_view name) override {
    return functions_ == nullptr ? nullptr : FindAdded(*functions_, name);
  }

 private:
  const TableSchema& schema_;
  const AddedFunctions* const functions_;
};

}  // namespace sqxer
