#include "Utility/ErrorMessage.h"

#include <algorithm>
#include <utility>

#include "ErrorCatalogue.h"
#include "Utility/BaseStringUtil.h"

namespace sqxer {

namespace {

std::vector<ErrorCatalogueEntry> MergeCatalogue() {
  std::vector<ErrorCatalogueEntry> all = ErrorCatalogueExpressions();
  for (const auto& part : {ErrorCatalogueCompiler(), ErrorCatalogueEngine()}) {
    all.insert(all.end(), part.begin(), part.end());
  }
  std::ranges::stable_sort(all, {}, &ErrorCatalogueEntry::code);
  return all;
}

const ErrorCatalogueEntry* FindEntry(int code) {
  const auto& all = ErrorCatalogue();
  const auto found = std::ranges::lower_bound(all, code, {}, &ErrorCatalogueEntry::code);
  return found != all.end() && found->code == code ? &*found : nullptr;
}

/// An argument as sentences quote it. A column may hold texts of megabytes.
XeString Quoted(const XeString& argument) {
  constexpr std::size_t kMostCharacters = 400;
  return argument.size() <= kMostCharacters ? argument
                                            : argument.substr(0, kMostCharacters) + L"...";
}

/// Puts the arguments in place of "{0}" to "{9}". Arguments that the sentence does not mention
/// follow it in parentheses: nothing that the raiser knew is lost.
std::string FormatSentence(std::string_view sentence, const std::vector<XeString>& arguments) {
  std::string text;
  std::vector<bool> used(arguments.size(), false);
  for (std::size_t i = 0; i < sentence.size(); ++i) {
    if (sentence[i] == '{' && i + 2 < sentence.size() && sentence[i + 2] == '}') {
      const auto index = static_cast<std::size_t>(sentence[i + 1] - '0');
      if (index < arguments.size()) {
        BaseStringUtil::AppendUtf8(text, Quoted(arguments[index]));
        used[index] = true;
        i += 2;
        continue;
      }
    }
    text += sentence[i];
  }
  const char* separator = " (";
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    if (used[i]) continue;
    text += std::exchange(separator, ", ");
    BaseStringUtil::AppendUtf8(text, Quoted(arguments[i]));
  }
  if (*separator == ',') text += ')';
  return text;
}

}  // namespace

const std::vector<ErrorCatalogueEntry>& ErrorCatalogue() {
  static const std::vector<ErrorCatalogueEntry> catalogue = MergeCatalogue();
  return catalogue;
}

ErrorMessage::ErrorMessage(int code, std::vector<XeString> arguments, const XeString& value)
    : code_(code), arguments_(std::move(arguments)) {
  const ErrorCatalogueEntry* entry = FindEntry(code);
  text_ = FormatSentence(entry ? std::string(entry->text) : "error " + std::to_string(code),
                         arguments_);
  if (value.empty()) return;
  text_ += ": ";
  BaseStringUtil::AppendUtf8(text_, Quoted(value));
}

void ErrorMessage::AddInput(const XeString& column, const std::string& value) {
  if (isOfStatement_) return;
  const bool isTold = std::ranges::find(inputs_, column, &Input::column) != inputs_.end();
  if (!isTold) inputs_.push_back({column, value});
}

XeString ErrorMessage::GetText() const { return BaseStringUtil::Utf8ToString(text_); }

void SUGThrow(ErrorMessage message, std::source_location where) {
  message.SetRaisedAt(where.file_name(), static_cast<int>(where.line()));
  throw message;
}

}  // namespace sqxer
