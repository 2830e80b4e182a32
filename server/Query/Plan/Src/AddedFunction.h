#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace sqxer {

class RExpression;
struct ColumnInfo;

/// A function that whoever uses the engine has added to those that it knows. Several threads may
/// ask it at a time.
class AddedFunction {
 public:
  virtual ~AddedFunction() = default;
  /// What each argument is brought to by a cast; null for any number of arguments as they are,
  /// decimals as doubles.
  virtual const std::vector<ColumnInfo>* GetArguments() const = 0;
  /// Whether it may give another value for the same arguments.
  virtual bool IsVolatile() const = 0;
  /// A new unbound node, which takes over its operands.
  virtual std::unique_ptr<RExpression> MakeNode(
      std::vector<std::unique_ptr<RExpression>>& operands) const = 0;
};
using AddedFunctionPtr = std::shared_ptr<const AddedFunction>;
/// By names in lower case.
using AddedFunctions = std::map<std::string, AddedFunctionPtr, std::less<>>;
inline AddedFunctionPtr FindAdded(const AddedFunctions& functions, std::string_view name) {
  const auto found = functions.find(name);
  return found == functions.end() ? nullptr : found->second;
}

}  // namespace sqxer
