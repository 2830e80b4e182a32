#pragma once

#include <cstddef>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "Utility/Export.h"
#include "Utility/JSon.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// The values at some paths of the JSON document of the current row. Whoever moves through the rows
/// says which document is the current one; it is read once, however many paths there are, and not
/// at all in a row of which no value is asked for. One thread.
///
/// A text that is no JSON document has no values, or raises an error, as the switch JsonErrors says
/// when the holder is made. Of several values at one path the first counts. A document nests 1,000
/// levels at most.
class XEUTILITY_API JSonValuesHolder {
 public:
  JSonValuesHolder();
  ~JSonValuesHolder();
  JSonValuesHolder(const JSonValuesHolder&) = delete;
  JSonValuesHolder& operator=(const JSonValuesHolder&) = delete;

  /// A handle for the values at a path: the same for the same path.
  std::size_t AddCollectionPath(const JSon::JSonPath& path);

  /// Makes a text the current document. It must stay as it is until the next one.
  void SetDocument(std::wstring_view text);
  /// There is no current document: it has no values.
  void SetNoDocument();

  /// The value of the current document; it holds until the next document is set. Error 59191 (text)
  /// for a text that is no JSON document, when errors are asked for.
  const JSon::JSonValue& Resolve(std::size_t handle) {
    if (state_ != State::kRead) Prepare();
    return values_[handle];
  }

  /// Takes the values of the current document into account for what follows. A text that is no JSON
  /// document counts for nothing.
  void Observe();
  /// The type that holds every value observed at the path: XeInt4Data for integers of 32 bits,
  /// XeDoubleData for other numbers too, XeObjectData for objects and arrays alone, XeVarCharData
  /// for anything else, XeUnknown when there was no value but null.
  XeDataType ResolveDataType(std::size_t handle) const;
  /// Characters of the longest text observed at the path, as asXeNString gives it.
  uint32 GetLongestText(std::size_t handle) const { return observed_[handle].longestText; }

  /// How many documents were read.
  uint64 GetDocumentsRead() const { return documentsRead_; }

 private:
  class DocumentReader;
  enum class State { kUnread, kRead, kMalformed };
  /// What was seen at a path: a bit for each XeDataType, and the longest text.
  struct Observed {
    uint32 types = 0;
    uint32 longestText = 0;
  };

  void Read();
  void Prepare();

  std::unique_ptr<DocumentReader> reader_;
  std::vector<JSon::JSonValue> values_;
  std::vector<Observed> observed_;
  std::wstring_view text_;
  State state_ = State::kRead;
  bool raisesErrors_;
  uint64 documentsRead_ = 0;
};

/// A shared reference to a holder; the last one deletes it.
class JSonValuesHolderRef {
 public:
  JSonValuesHolderRef() = default;
  explicit JSonValuesHolderRef(std::shared_ptr<JSonValuesHolder> holder)
      : holder_(std::move(holder)) {}

  bool isNull() const { return holder_ == nullptr; }
  JSonValuesHolder* operator->() const { return holder_.get(); }

 private:
  std::shared_ptr<JSonValuesHolder> holder_;
};

}  // namespace sqxer
