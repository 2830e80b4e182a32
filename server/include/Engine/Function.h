#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Engine/ArrowInterface.h"

namespace sqxer::engine {

/// A function that statements may call.
struct FunctionSpec {
  /// Letter case ignored, as statements write it without quotation marks.
  std::string name;
  /// What each argument is brought to by a cast, as columns are declared; nothing for any number of
  /// arguments as they come, decimals as doubles.
  std::optional<std::vector<std::string>> arguments = {};
  /// The type that it gives: "double", "varchar(80)". A varchar of no length has 4,096 characters
  /// at most.
  std::string result;
  /// It may give another value for the same arguments, and is called for each row by itself.
  bool isVolatile = false;
};
/// Computes the function for some rows, often for 2,048. `schema` and `rows`, which may be moved
/// away, are a struct of the arguments a1, a2, ...; `out` is to get a stream of one column with as
/// many values, which are brought to the result's type by a cast. It is called again for rows whose
/// statement has to go back, and by several threads at a time. What it throws passes through the
/// statement. It must not use the session whose statement calls it.
using CallFunction =
    std::function<void(ArrowSchema* schema, ArrowArray* rows, ArrowArrayStream* out)>;

}  // namespace sqxer::engine
