#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <fstream>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "Utility/BaseStringUtil.h"
#include "Utility/ErrorMessage.h"
#include "Utility/KeySet.h"
#include "Utility/SUSystemConfig.h"

namespace sqxer {

/// The error that a call raises as "code: sentence", or "accepted".
template <class Call>
std::string ErrorOf(Call call) {
  try {
    call();
  } catch (const ErrorMessage& error) {
    return std::to_string(error.GetCode()) + ": " + error.what();
  }
  return "accepted";
}

/// The parts of a text between separators.
inline std::vector<std::string> Split(const std::string& text, char separator = '|') {
  std::vector<std::string> parts(1);
  for (const char c : text) c == separator ? parts.emplace_back() : parts.back() += c;
  return parts;
}

/// Puts the configuration back as it was.
class ConfigScope {
 public:
  ~ConfigScope() { SUSystemConfig::GetSystemConfig() = saved_; }
  SUSystemConfig* operator->() { return &SUSystemConfig::GetSystemConfig(); }

 private:
  const SUSystemConfig saved_ = SUSystemConfig::GetSystemConfig();
};

using TableRows = std::vector<std::vector<std::string>>;

/// The tables of a page of the documentation, by the first cell of their headers.
inline std::map<std::string, TableRows> PageTables(const std::string& page) {
  std::map<std::string, TableRows> tables;
  TableRows* table = nullptr;
  std::ifstream lines(SQXER_SOURCE_DIR "/docs/" + page);
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("|--")) continue;
    const std::vector<std::string> parts = Split(line);
    std::vector<std::string> cells;
    for (std::size_t i = 2; i < parts.size(); ++i) {
      cells.push_back(parts[i - 1].substr(1, parts[i - 1].size() - 2));
    }
    if (table != nullptr && !cells.empty()) table->push_back(cells);
    if (table == nullptr || cells.empty()) table = cells.empty() ? nullptr : &tables[cells[0]];
  }
  return tables;
}

/// The texts between backquotes of a cell; a cell without any is one text.
inline std::vector<std::string> Quoted(const std::string& cell) {
  const std::vector<std::string> parts = Split(cell, '`');
  std::vector<std::string> texts;
  for (std::size_t i = 1; i < parts.size(); i += 2) texts.push_back(parts[i]);
  return texts.empty() ? parts : texts;
}

/// A text as nodes exchange it.
inline RefLongVarChar AsRef(std::wstring_view text) {
  return {static_cast<uint32>(text.size()), const_cast<wchar_t*>(text.data())};
}

/// The bytes of a text or binary in a record, behind its length where the type is varying.
template <class Character>
std::vector<uint8> Stored(const std::basic_string<Character>& text, bool varying) {
  const auto length = static_cast<uint32>(text.size());
  std::vector<uint8> bytes((varying ? kLongVarPrefix : 0) + length * sizeof(Character));
  if (varying) std::memcpy(bytes.data(), &length, sizeof length);
  const auto* characters = reinterpret_cast<const uint8*>(text.data());
  std::copy_n(characters, length * sizeof(Character),
              bytes.begin() + (varying ? kLongVarPrefix : 0));
  return bytes;
}

/// A zeroed record of a layout, aligned as record buffers are.
class TestRecord {
 public:
  explicit TestRecord(const XeRecordMetaData& layout)
      : layout_(&layout), units_(layout.GetBinaryRecordSize() / sizeof(std::max_align_t) + 1) {
    // Copies of a max_align_t need not bring the zeros of its padding along.
    std::memset(bytes(), 0, units_.size() * sizeof(std::max_align_t));
  }

  uint8* bytes() { return reinterpret_cast<uint8*>(units_.data()); }
  const uint8* bytes() const { return reinterpret_cast<const uint8*>(units_.data()); }
  uint8* at(int field) { return bytes() + layout_->GetFieldDescriptor(field)->GetDataOffset(); }

  void SetNull(int field) { bytes()[layout_->GetFieldDescriptor(field)->GetNullOffset()] = 1; }
  template <class T>
  void Set(int field, const T& value) {
    std::memcpy(at(field), &value, sizeof value);
  }
  template <class Character>
  void Set(int field, const std::basic_string<Character>& text) {
    const XeDataType type = layout_->GetFieldDescriptor(field)->GetDataType();
    const std::vector<uint8> stored = Stored(text, type != XeCharData && type != XeBinaryData);
    std::ranges::copy(stored, at(field));
  }

 private:
  const XeRecordMetaData* layout_;
  std::vector<std::max_align_t> units_;
};

}  // namespace sqxer
