#pragma once

#include <functional>
#include <memory>

#include "ResultSink.h"
#include "SqlSessionStatement.h"

namespace sqxer {

/// The file that COPY writes. Until it is complete an older one of its name stays.
class CopyTarget {
 public:
  /// Removes what is not complete.
  virtual ~CopyTarget() = default;
  /// Takes the rows, once.
  virtual ResultSink& GetSink() = 0;
  /// Makes the file appear. Returns how many rows it has.
  virtual uint64 Complete() = 0;
};

/// Opens the file of a statement. Errors 57152 to 57154.
using OpenCopyTarget = std::function<std::unique_ptr<CopyTarget>(const SqlCopy& copy)>;

}  // namespace sqxer
