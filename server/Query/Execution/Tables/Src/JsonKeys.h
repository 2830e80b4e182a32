#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "Utility/XeTypes.h"

namespace sqxer {

/// The keys of JSON objects, numbered in the order in which they were added.
class JsonKeys {
 public:
  uint32 GetCount() const { return static_cast<uint32>(keys_.size()); }
  const std::string& Get(uint32 index) const { return keys_[index]; }
  std::optional<uint32> Find(std::string_view key) const {
    const auto found = indexes_.find(key);
    if (found == indexes_.end()) return {};
    return found->second;
  }
  /// Adds a key unless it is there.
  void Add(std::string_view key) {
    if (indexes_.emplace(key, GetCount()).second) keys_.emplace_back(key);
  }

 private:
  struct Hash : std::hash<std::string_view> {
    using is_transparent = void;
  };

  std::vector<std::string> keys_;
  std::unordered_map<std::string, uint32, Hash, std::equal_to<>> indexes_;
};

}  // namespace sqxer
