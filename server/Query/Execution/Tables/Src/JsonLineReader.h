#pragma once

#include <memory>
#include <string_view>

#include "Utility/XeTypes.h"

namespace sqxer {

/// Reads the members of JSON objects, one object a text. All of an object is checked, what stands
/// in nested values too.
class JsonLineReader {
 public:
  enum class Kind { kNull, kBoolean, kNumber, kString, kNested };
  /// Takes members in their order: strings without their escapes, other values as they are written.
  /// The texts are valid during the call.
  class MemberSink {
   public:
    virtual void Take(std::string_view key, Kind kind, std::string_view text) = 0;

   protected:
    ~MemberSink() = default;
  };

  JsonLineReader();
  ~JsonLineReader();

  /// How many bytes must be readable behind a text.
  static constexpr std::size_t kPadding = 64;
  enum class Outcome {
    kRead,
    /// The text is not exactly one object, blanks around it aside.
    kBroken,
    /// Values lie in each other more than kMostLevels deep.
    kTooDeep,
  };
  static constexpr int kMostLevels = 1000;
  /// Reads one object. Members before a fault are taken.
  Outcome Read(std::string_view text, MemberSink& sink);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace sqxer
