#pragma once

#include "Utility/XeTypes.h"

namespace sqxer::test {

/// While it lives, the program's operator new works so often, and then throws std::bad_alloc.
class FailingNew {
 public:
  explicit FailingNew(int64 after);
  FailingNew(const FailingNew&) = delete;
  FailingNew& operator=(const FailingNew&) = delete;
  ~FailingNew();
};

}  // namespace sqxer::test
