// Equal subtrees of the trees that are evaluated for the same batches share their values.

#include <algorithm>
#include <typeinfo>

#include "SQXERBatchFewValues.h"
#include "SQXERExpression.h"
#include "SQXERNodeTimer.h"

namespace sqxer {

struct BatchBuffers::SharedValues {
  /// BatchSource::GetBatch of the batch that the values are of. They stand in the buffers of the
  /// node that was evaluated first, which is not evaluated again in that batch.
  uint64 batch = 0;
  BatchVector values;
};

/// The nodes that give the same as others.
class SharedTrees {
 public:
  using Values = BatchBuffers::SharedValues;

  /// Adds a tree, and lets it share the values of those before it.
  void Add(RExpression& tree) {
    if (tree.CountOperands() == 0) return;
    for (RExpression* const known : known_) {
      if (!AreEqual(*known, tree)) continue;
      std::shared_ptr<Values>& shared = known->GetBatchBuffers().shared_;
      if (!shared) shared = std::make_shared<Values>();
      tree.GetBatchBuffers().shared_ = shared;
      return;
    }
    known_.push_back(&tree);
    ForEachOperand(tree, [this](RExpression& operand) { Add(operand); });
  }

  static Values* Find(RExpression& tree) {
    return tree.batchBuffers_ ? tree.batchBuffers_->shared_.get() : nullptr;
  }

 private:
  template <class Use>
  static void ForEachOperand(RExpression& tree, Use&& use) {
    for (int i = 0; i < tree.CountOperands(); ++i) {
      if (RExpression* const operand = tree.GetIthOperand(i)) use(*operand);
    }
  }

  static bool AreEqual(RExpression& a, RExpression& b) {
    if (typeid(a) != typeid(b) || a.GetResultDataType() != b.GetResultDataType() ||
        a.CountOperands() != b.CountOperands() || !a.GivesSameAs(b)) {
      return false;
    }
    for (int i = 0; i < a.CountOperands(); ++i) {
      RExpression* const one = a.GetIthOperand(i);
      RExpression* const other = b.GetIthOperand(i);
      if ((one == nullptr) != (other == nullptr)) return false;
      if (one != nullptr && !AreEqual(*one, *other)) return false;
    }
    return true;
  }

  std::vector<RExpression*> known_;
};

void ShareEqualTrees(const std::vector<RExpression*>& trees) {
  SharedTrees shared;
  for (RExpression* const tree : trees) shared.Add(*tree);
}

namespace {

BatchProbe batchProbe = nullptr;

}  // namespace

void SetBatchProbe(BatchProbe probe) { batchProbe = probe; }

bool EvaluateBatch(RExpression& tree, const BatchRows& rows, BatchVector& out) {
  SharedTrees::Values* const shared = SharedTrees::Find(tree);
  const uint64 batch = shared != nullptr ? rows.source->GetBatch() : 0;
  if (batch != 0 && shared->batch == batch) {
    out = shared->values;
    return true;
  }
  const NodeTimer timer(tree);
  if (!EvaluateFewValues(tree, rows, out) && !tree.EvalBatch(rows, out)) return false;
  if (batchProbe != nullptr) [[unlikely]]
    batchProbe(tree, rows, out);
  if (batch != 0 && rows.source->AreAllWanted(rows.selected)) *shared = {batch, out};
  return true;
}

}  // namespace sqxer
