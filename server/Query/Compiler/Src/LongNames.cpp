#include "LongNames.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string_view>

namespace sqxer {
namespace {

constexpr int kLongestName = 63;

char LowerLetter(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

/// The name that a token stands for: without its quotation marks, or in small letters.
std::string NameOf(std::string_view token) {
  std::string name;
  if (!token.starts_with('"')) {
    std::ranges::transform(token, std::back_inserter(name), &LowerLetter);
    return name;
  }
  for (std::size_t i = 1; i + 1 < token.size(); ++i) {
    name += token[i];
    if (token[i] == '"') ++i;
  }
  return name;
}

/// What no name of the statement starts with.
std::string UnusedPrefix(std::string sql) {
  std::ranges::transform(sql, sql.begin(), &LowerLetter);
  std::string prefix = "name_";
  while (sql.find(prefix) != std::string::npos) prefix += '_';
  return prefix;
}

template <class T>
T& FieldAt(ProtobufCMessage& message, unsigned offset) {
  return *reinterpret_cast<T*>(reinterpret_cast<char*>(&message) + offset);
}

}  // namespace

LongNames::LongNames(const std::string& sql, const PgQuery__ScanResult& tokens) : shortened_(sql) {
  std::string prefix;
  for (std::size_t i = 0; i < tokens.n_tokens; ++i) {
    const PgQuery__ScanToken& token = *tokens.tokens[i];
    const int size = token.end - token.start;
    if (token.token != PG_QUERY__TOKEN__IDENT || size <= kLongestName) continue;
    if (prefix.empty()) prefix = UnusedPrefix(sql);
    const auto start = static_cast<std::size_t>(token.start);
    const auto length = static_cast<std::size_t>(size);
    // The last mark keeps a short name from being the start of another one.
    std::string shortName = prefix + std::to_string(names_.size()) + '_';
    names_.emplace(shortName, NameOf(std::string_view(sql).substr(start, length)));
    shortName.resize(std::max(shortName.size(), length), ' ');
    shortened_.replace(start, length, shortName);
  }
}

void LongNames::RestoreIn(ProtobufCMessage& tree) const {
  if (names_.empty()) return;
  for (unsigned i = 0; i < tree.descriptor->n_fields; ++i)
    RestoreField(tree, tree.descriptor->fields[i]);
}

void LongNames::RestoreField(ProtobufCMessage& message,
                             const ProtobufCFieldDescriptor& field) const {
  const bool isText = field.type == PROTOBUF_C_TYPE_STRING;
  if (!isText && field.type != PROTOBUF_C_TYPE_MESSAGE) return;
  if (field.label == PROTOBUF_C_LABEL_REPEATED) {
    const auto count = FieldAt<std::size_t>(message, field.quantifier_offset);
    for (std::size_t i = 0; i < count; ++i) {
      if (isText)
        RestoreName(FieldAt<char**>(message, field.offset)[i]);
      else
        RestoreIn(*FieldAt<ProtobufCMessage**>(message, field.offset)[i]);
    }
    return;
  }
  const bool isChoice = field.flags & PROTOBUF_C_FIELD_FLAG_ONEOF;
  if (isChoice && FieldAt<uint32_t>(message, field.quantifier_offset) != field.id) return;
  if (isText) {
    RestoreName(FieldAt<char*>(message, field.offset));
  } else if (auto* inner = FieldAt<ProtobufCMessage*>(message, field.offset)) {
    RestoreIn(*inner);
  }
}

void LongNames::RestoreName(char*& text) const {
  const auto name = names_.find(std::string_view(text));
  if (name == names_.end()) return;
  // The tree frees its texts.
  std::free(text);
  text = ::strdup(name->second.c_str());
}

std::string LongNames::Restored(std::string text) const {
  for (const auto& [shortName, name] : names_) {
    const std::size_t at = text.find(shortName);
    if (at != std::string::npos) text.replace(at, shortName.size(), name);
  }
  return text;
}

}  // namespace sqxer
