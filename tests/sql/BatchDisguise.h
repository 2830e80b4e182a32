#pragma once

namespace sqxer::test {

/// Has the vectors of all batches come in another form that means the same, as long as it lives.
/// One at a time, and one thread.
class BatchDisguise {
 public:
  enum class As {
    /// What stands under NULLs, and in rows that are not asked for, is something else.
    kGarbage,
    /// A vector of one row is constant.
    kConstant,
    /// Texts that are not constant are codes into a dictionary, those of NULLs without an entry.
    kDictionary,
  };

  explicit BatchDisguise(As as);
  ~BatchDisguise();
  BatchDisguise(const BatchDisguise&) = delete;
  BatchDisguise& operator=(const BatchDisguise&) = delete;
};

}  // namespace sqxer::test
