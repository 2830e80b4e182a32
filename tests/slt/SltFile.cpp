#include "SltFile.h"

#include <openssl/evp.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace sqxer::test {
namespace {

constexpr const char* kProgram = "sqxer";

std::vector<std::string> Words(const std::string& line) {
  std::istringstream stream(line);
  std::vector<std::string> words;
  for (std::string word; stream >> word;) words.push_back(word);
  return words;
}

SltRecord MakeRecord(const std::vector<std::string>& words, int line) {
  const auto refuse = [&] {
    throw std::runtime_error("line " + std::to_string(line) + " is no beginning of a record");
  };
  SltRecord record;
  record.line = line;
  if (words[0] == "statement" && words.size() > 1) {
    if (words[1] != "ok" && words[1] != "error") refuse();
    record.kind =
        words[1] == "ok" ? SltRecord::Kind::kStatementOk : SltRecord::Kind::kStatementError;
    return record;
  }
  if (words[0] != "query" || words.size() < 2) refuse();
  record.types = words[1];
  const std::string sort = words.size() > 2 ? words[2] : "nosort";
  if (sort == "rowsort") {
    record.sort = SltRecord::Sort::kRows;
  } else if (sort == "valuesort") {
    record.sort = SltRecord::Sort::kValues;
  } else if (sort != "nosort") {
    refuse();
  }
  return record;
}

std::string HashOf(const std::vector<std::string>& values) {
  std::string text;
  for (const std::string& value : values) text += value + "\n";
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned size = 0;
  if (EVP_Digest(text.data(), text.size(), digest, &size, EVP_md5(), nullptr) != 1)
    throw std::runtime_error("no MD5");
  std::string hash;
  for (unsigned i = 0; i < size; ++i) {
    constexpr const char* kDigits = "0123456789abcdef";
    hash += kDigits[digest[i] >> 4];
    hash += kDigits[digest[i] & 15];
  }
  return std::to_string(values.size()) + " values hashing to " + hash;
}

}  // namespace

std::vector<SltRecord> ReadSltFile(const std::string& path) {
  std::ifstream file(path);
  std::vector<SltRecord> records;
  bool isSkipped = false;
  int number = 0;
  std::string line;
  const auto next = [&] { return ++number, static_cast<bool>(std::getline(file, line)); };
  while (next()) {
    const std::vector<std::string> words = Words(line);
    if (words.empty() || words[0][0] == '#') continue;
    if (words[0] == "halt") break;
    if (words[0] == "hash-threshold") continue;
    if (words[0] == "skipif" || words[0] == "onlyif") {
      const bool isOurs = words.size() > 1 && words[1] == kProgram;
      isSkipped = isSkipped || isOurs == (words[0] == "skipif");
      continue;
    }
    SltRecord record = MakeRecord(words, number);
    bool isResult = false;
    while (next() && !line.empty()) {
      if (line == "----") {
        isResult = true;
      } else if (isResult) {
        record.expected.push_back(line);
      } else {
        record.sql += (record.sql.empty() ? "" : "\n") + line;
      }
    }
    if (!isSkipped) records.push_back(std::move(record));
    isSkipped = false;
  }
  return records;
}

std::vector<std::string> FormValues(const SltRecord& record,
                                    std::vector<std::vector<std::string>> rows) {
  for (std::vector<std::string>& row : rows) {
    for (std::size_t i = 0; i < row.size() && i < record.types.size(); ++i) {
      if (record.types[i] != 'R' || row[i] == "NULL") continue;
      char text[64];
      std::snprintf(text, sizeof text, "%.3f", std::stod(row[i]));
      row[i] = text;
    }
  }
  if (record.sort == SltRecord::Sort::kRows) std::ranges::sort(rows);
  std::vector<std::string> values;
  for (const std::vector<std::string>& row : rows) {
    values.insert(values.end(), row.begin(), row.end());
  }
  if (record.sort == SltRecord::Sort::kValues) std::ranges::sort(values);
  const bool isHashed = record.expected.size() == 1 &&
                        record.expected[0].find(" values hashing to ") != std::string::npos;
  return isHashed ? std::vector{HashOf(values)} : values;
}

}  // namespace sqxer::test
