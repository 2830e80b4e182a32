#include "Utility/JSon.h"

#include "Utility/BaseStringUtil.h"
#include "Utility/ErrorMessage.h"
#include "Utility/SUXeDataTypeUtility.h"

namespace sqxer::JSon {

namespace {

bool IsDigit(wchar_t c) { return c >= L'0' && c <= L'9'; }

bool IsNameCharacter(wchar_t c) {
  return IsDigit(c) || (c >= L'a' && c <= L'z') || (c >= L'A' && c <= L'Z') || c == L'_' ||
         c == L'-' || c == L'$' || c >= 0x80;
}

/// Reads the steps of a path off its text.
class PathReader {
 public:
  explicit PathReader(const XeString& text) : text_(text) {}

  std::vector<JSonPath::Step> Read() {
    std::vector<JSonPath::Step> steps;
    Expect(L'$');
    while (at_ < text_.size()) {
      if (Take(L'.')) {
        steps.emplace_back(Peek() == L'"' ? QuotedName() : Name());
      } else {
        Expect(L'[');
        if (IsDigit(Peek())) {
          steps.emplace_back(Index());
        } else {
          steps.emplace_back(QuotedName());
        }
        Expect(L']');
      }
    }
    return steps;
  }

 private:
  /// The next character, or the zero character at the end.
  wchar_t Peek() const { return at_ < text_.size() ? text_[at_] : L'\0'; }
  bool Take(wchar_t c) {
    if (at_ == text_.size() || text_[at_] != c) return false;
    ++at_;
    return true;
  }
  void Expect(wchar_t c) {
    if (!Take(c)) Fail();
  }

  std::string Name() {
    const std::size_t start = at_;
    while (at_ < text_.size() && IsNameCharacter(text_[at_])) ++at_;
    if (at_ == start) Fail();
    return BaseStringUtil::StringToUtf8(text_.substr(start, at_ - start));
  }

  std::string QuotedName() {
    const wchar_t quote = Peek();
    if (quote != L'"' && quote != L'\'') Fail();
    ++at_;
    XeString name;
    while (!Take(quote)) {
      Take(L'\\');
      if (at_ == text_.size()) Fail();
      name += text_[at_++];
    }
    return BaseStringUtil::StringToUtf8(name);
  }

  uint32 Index() {
    uint32 index = 0;
    // No document has this many elements.
    constexpr uint32 kMost = 100'000'000;
    for (; IsDigit(Peek()); ++at_) {
      index = 10 * index + static_cast<uint32>(text_[at_] - L'0');
      if (index > kMost) Fail();
    }
    return index;
  }

  [[noreturn]] void Fail() const {
    SUGThrow(ErrorMessage(59190, {text_, std::to_wstring(at_ + 1)}));
  }

  const XeString& text_;
  std::size_t at_ = 0;
};

}  // namespace

JSonPath::JSonPath(const XeString& text) : steps_(PathReader(text).Read()) {}

JSonValue JSonValue::Null() {
  JSonValue null;
  null.isNull_ = true;
  return null;
}

int32 JSonValue::asInt32() const {
  if (type_ != XeInt4Data) Refuse(XeInt4Data);
  return static_cast<int32>(number_);
}

float64 JSonValue::asDouble() const {
  if (type_ != XeInt4Data && type_ != XeDoubleData) Refuse(XeDoubleData);
  return number_;
}

void JSonValue::Refuse(XeDataType wanted) const {
  SUGThrow(ErrorMessage(
      59192, {BaseStringUtil::QuotedValue(text_), SUXeDataTypeUtility::GetXeDataTypeName(wanted)}));
}

}  // namespace sqxer::JSon
