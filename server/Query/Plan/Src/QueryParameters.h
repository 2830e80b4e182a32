#pragma once

#include <optional>

#include "Utility/XeDateTime.h"
#include "Utility/XeRecordMetaData.h"

namespace sqxer {

/// The values of $1, $2, ... in this order: a record with one field each. The record and its
/// layout must outlive every plan that reads them.
struct QueryParameters {
  const XeRecordMetaData* layout = nullptr;
  uint8* values = nullptr;
  /// The moment of the statement, in UTC; the one at which it is planned, where none is given.
  std::optional<XeDateTime> moment = {};
};

}  // namespace sqxer
