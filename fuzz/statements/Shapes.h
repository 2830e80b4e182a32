#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Expression.h"
#include "FunctionTable.h"
#include "Session.h"

namespace sqxer::fuzz {

/// How a row of the function table is called: the text of its example with gaps at the operands.
struct CallShape {
  /// The row's number in the table; -1 for casts, which are made for every type.
  int row = -1;
  std::vector<std::string> pieces;
  /// What the example has in the gaps.
  std::vector<std::string> literals;
};

/// Of what kind an operand is; kLiteral for one that stays a literal.
using OperandKind = int;
inline constexpr OperandKind kLiteral = -1;

/// Operands that the planner takes, and what it then gives.
struct Signature {
  std::vector<OperandKind> operands;
  Kind result;
};

/// A shape with the signatures of one result.
struct Callable {
  const CallShape* shape = nullptr;
  std::vector<Signature> signatures;
};

/// Where a call may stand.
enum class CallUse { kScalar, kAggregate, kWindow };

/// What there is to call, as the planner tells: each shape is asked of it with operands of all
/// kinds.
class Shapes {
 public:
  /// `examples`: the folder of the tables that the examples read.
  explicit Shapes(const std::string& examples);

  const std::vector<Callable>& Find(CallUse use, Kind result) const {
    return found_[static_cast<std::size_t>(use)][static_cast<std::size_t>(result)];
  }
  /// Aggregates of several results, which stand as whole items alone.
  const std::vector<Callable>& FindWide() const { return wide_; }
  /// Scalar calls that give what is of no kind, such as keys to sort by.
  const std::vector<Callable>& FindOpaque() const { return opaque_; }
  /// Whole statements, of rows whose examples read particular tables.
  const std::vector<CallShape>& GetStatements() const { return statements_; }
  /// All literals of the examples, texts and numbers apart.
  const std::vector<std::string>& GetTexts() const { return texts_; }
  const std::vector<std::string>& GetNumbers() const { return numbers_; }
  /// Rows that statements can reach, by number.
  const std::vector<bool>& GetReachable() const { return isReachable_; }
  std::size_t CountSignatures() const { return signatures_; }

 private:
  void Probe(Session& session, const CallShape& shape, CallUse use, Random& random);

  std::vector<std::unique_ptr<CallShape>> shapes_;
  std::vector<Callable> found_[3][kKinds];
  std::vector<Callable> wide_;
  std::vector<Callable> opaque_;
  std::vector<CallShape> statements_;
  std::vector<std::string> texts_, numbers_;
  std::vector<bool> isReachable_;
  std::size_t signatures_ = 0;
};

/// A frame that a call of that form may have, at random; often empty.
std::string RandomFrame(WindowForm form, Random& random);

}  // namespace sqxer::fuzz
