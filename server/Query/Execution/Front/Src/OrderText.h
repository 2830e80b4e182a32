#pragma once

#include <optional>
#include <string>
#include <vector>

#include "QueryPlan.h"
#include "Utility/CollationKeyMaker.h"
#include "Utility/KeySet.h"
#include "Utility/XeRecordMetaData.h"

namespace sqxer::engine {

/// Makes texts of hexadecimal digits whose order, byte by byte, is that of ORDER BY: others sort
/// rows by them who know nothing of the keys. Under the thread's current settings.
class OrderText {
 public:
  /// `order`: fields of records of the layout, which must stay.
  OrderText(const std::vector<PlanSortKey>& order, const XeRecordMetaData& layout);

  /// Valid until the next call.
  const std::string& Make(const uint8* record);

 private:
  struct Key {
    XeFieldDescriptorRef field;
    /// With the direction and the place of NULL that are asked for.
    KeyDesc key;
    /// The same without them.
    KeyDesc ascending;
    NullOrder_t nulls;
  };

  void Append(const Key& key, const uint8* record);
  void AppendValue(const Key& key, const uint8* record);
  /// The most significant byte first.
  void AppendWord(uint64 word, int bytes);
  void AppendNumber(const VelmarNumber& number);
  /// Bytes of any length, of which the shorter comes first.
  void AppendBytes(const uint8* bytes, std::size_t count);

  std::vector<Key> keys_;
  CollationKeyMaker texts_;
  std::string bytes_;
  std::string digits_;
};

}  // namespace sqxer::engine
