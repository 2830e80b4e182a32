#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "Utility/Export.h"
#include "Utility/XeTypes.h"

namespace sqxer::JSon {

/// The code page of a value's text: UTF-8, as JSON documents are exchanged.
inline constexpr uint32 kTextCodePage = 65001;

/// Where in a document a value stands: `$` is the document itself, `.name`, `."a name"`, `['a
/// name']` and `["a name"]` are a member of an object, `[0]` is an element of an array, the first
/// one 0. Names without quotation marks are of letters, digits, `_`, `-` and `$`; in quotation
/// marks a backslash makes the next character plain.
class XEUTILITY_API JSonPath {
 public:
  /// A member by its name in UTF-8, or an element by its index.
  using Step = std::variant<std::string, uint32>;

  /// Error 59190 (path, position of the character from 1) for a text that is no path.
  explicit JSonPath(const XeString& text);

  /// From the document inward; none for the document itself.
  const std::vector<Step>& GetSteps() const { return steps_; }

 private:
  std::vector<Step> steps_;
};

/// One value of a document. Its text stands in the buffers of whoever read the document and holds
/// until the next one is read. A new JSonValue is a value that the document has not.
class XEUTILITY_API JSonValue {
 public:
  JSonValue() = default;
  /// A value that is no number; XeVarCharData or XeObjectData.
  JSonValue(XeDataType type, std::string_view text) : type_(type), text_(text) {}
  /// A number, and as the document writes it: XeInt4Data when it is an integer of 32 bits.
  JSonValue(XeDataType type, float64 number, std::string_view text)
      : type_(type), number_(number), text_(text) {}
  static JSonValue Null();

  /// XeInt4Data, XeDoubleData (every other number), XeVarCharData (texts, true and false, and
  /// numbers beyond doubles), XeObjectData (objects and arrays), XeUnknown for null and for what
  /// the document has not.
  XeDataType GetDataType() const { return type_; }
  bool IsNull() const { return isNull_; }
  /// Whether the document has the value, be it null.
  bool IsPresent() const { return isNull_ || type_ != XeUnknown; }

  /// Error 59192 (text, type name) for a value that is no integer of 32 bits.
  int32 asInt32() const;
  /// Error 59192 (text, type name) for a value that is no number.
  float64 asDouble() const;
  /// The characters of a text; any other value as the document writes it, blanks included.
  std::string_view asXeNString() const { return text_; }

 private:
  [[noreturn]] void Refuse(XeDataType wanted) const;

  XeDataType type_ = XeUnknown;
  bool isNull_ = false;
  float64 number_ = 0;
  std::string_view text_;
};

}  // namespace sqxer::JSon
