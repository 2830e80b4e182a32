#include "TestFile.h"

#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <optional>
#include <string_view>

namespace sqxer::test {
namespace {

std::string Trim(std::string_view text) {
  while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front())))
    text.remove_prefix(1);
  while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back())))
    text.remove_suffix(1);
  return std::string(text);
}

class Reader {
 public:
  explicit Reader(const std::string& path) : path_(path), file_(path) {
    if (!file_) Fail("cannot be read");
  }

  std::vector<TestCase> Read() {
    std::vector<TestCase> cases;
    std::map<std::string, TableDefinition> tables;
    std::vector<std::string> switches, parameters;
    while (std::optional<std::string> line = Next()) {
      if (line->empty() || line->front() == '#') continue;
      const std::size_t blank = line->find(' ');
      const std::string word = line->substr(0, blank);
      const std::string rest = blank == std::string::npos ? "" : Trim(line->substr(blank));
      if (word == "table") {
        TableDefinition table = ReadTable(rest);
        tables[table.name] = table;
      } else if (word == "set") {
        switches.push_back(rest);
      } else if (word == "param") {
        parameters.push_back(rest);
      } else if (word == "reset") {
        switches.clear();
        parameters.clear();
      } else {
        TestCase test = ReadCase(word, rest);
        for (const auto& [name, table] : tables) test.tables.push_back(table);
        test.switches = switches;
        test.parameters = parameters;
        cases.push_back(std::move(test));
      }
    }
    return cases;
  }

 private:
  std::optional<std::string> Next() {
    std::string line;
    if (!std::getline(file_, line)) return std::nullopt;
    ++line_;
    return line;
  }

  [[noreturn]] void Fail(const char* what) const {
    std::fprintf(stderr, "%s:%d: %s\n", path_.c_str(), line_, what);
    std::exit(2);
  }

  TableDefinition ReadTable(const std::string& rest) {
    const std::size_t blank = rest.find(' ');
    if (blank == std::string::npos) Fail("a table needs columns");
    TableDefinition table{rest.substr(0, blank), Trim(rest.substr(blank)), ""};
    for (auto line = Next(); line && !line->empty(); line = Next()) table.rows += *line + "\n";
    return table;
  }

  TestCase ReadCase(const std::string& word, const std::string& rest) {
    TestCase test{};
    test.line = line_;
    if (word == "query" && rest.empty())
      test.kind = TestCase::Kind::kQuery;
    else if (word == "query" && rest == "unordered")
      test.kind = TestCase::Kind::kUnorderedQuery;
    else if (word == "error")
      test.kind = TestCase::Kind::kError;
    else if (word == "scalar")
      test.kind = TestCase::Kind::kScalar;
    else
      Fail("unknown block");

    if (test.kind == TestCase::Kind::kScalar) {
      for (auto line = Next(); line && !line->empty(); line = Next()) {
        if (line->front() != '#') test.scalars.push_back(ReadScalar(*line));
      }
      return test;
    }
    auto line = Next();
    for (; line && *line != "----"; line = Next()) test.sql += *line + "\n";
    if (!line) Fail("a block without ----");
    if (test.sql.ends_with('\n')) test.sql.pop_back();
    for (line = Next(); line && !line->empty(); line = Next()) test.expected.push_back(*line);
    return test;
  }

  Scalar ReadScalar(std::string line) {
    Scalar scalar{line_, "", "", "", ""};
    const std::string reason = "# literal:";
    if (const std::size_t at = line.find(reason); at != std::string::npos) {
      scalar.literalReason = Trim(line.substr(at + reason.size()));
      if (scalar.literalReason.empty()) Fail("a literal exception needs a reason");
      line.resize(at);
    }
    const std::size_t arrow = line.rfind(" => ");
    if (arrow == std::string::npos) Fail("a scalar needs ' => '");
    scalar.expression = Trim(line.substr(0, arrow));
    scalar.expected = Trim(line.substr(arrow + 4));
    const std::size_t colon = scalar.expected.rfind(" : ");
    if (colon != std::string::npos && !scalar.expected.starts_with("error ")) {
      scalar.type = Trim(scalar.expected.substr(colon + 3));
      scalar.expected = Trim(scalar.expected.substr(0, colon));
    }
    return scalar;
  }

  std::string path_;
  std::ifstream file_;
  int line_ = 0;
};

/// The type of a number's column, by the rules that literals have.
std::string NumberType(const std::string& digits) {
  if (digits.find_first_of("eE") != std::string::npos) return "double";
  if (digits.find('.') != std::string::npos || digits.size() > 10) return "numeric";
  return std::stoll(digits) <= INT32_MAX ? "int4" : "numeric";
}

std::string CsvField(const std::string& text) {
  std::string quoted = "\"";
  for (char c : text) {
    quoted += c;
    if (c == '"') quoted += c;
  }
  return quoted + '"';
}

}  // namespace

std::vector<TestCase> ReadTestFile(const std::string& path) { return Reader(path).Read(); }

MovedExpression MoveLiterals(const std::string& expression) {
  MovedExpression moved;
  std::string row;
  int count = 0;
  auto move = [&](const std::string& type, const std::string& field) {
    const std::string name = "c" + std::to_string(++count);
    moved.table.columns += (count > 1 ? "," : "") + name + ":" + type;
    row += (count > 1 ? "," : "") + field;
    moved.expression += name;
  };

  std::string pendingType;  // DATE, TIME or TIMESTAMP before a text
  for (std::size_t at = 0; at < expression.size();) {
    const char c = expression[at];
    if (c == '\'') {
      std::string text;
      for (++at; at < expression.size(); ++at) {
        if (expression[at] == '\'' && (at + 1 >= expression.size() || expression[at + 1] != '\''))
          break;
        if (expression[at] == '\'') ++at;
        text += expression[at];
      }
      ++at;
      std::size_t characters = 0;
      for (unsigned char byte : text) characters += (byte & 0xC0) != 0x80;
      const std::string width = std::to_string(characters == 0 ? 1 : characters);
      move(pendingType.empty() ? "varchar(" + width + ")" : pendingType, CsvField(text));
      pendingType.clear();
    } else if (std::isdigit(static_cast<unsigned char>(c)) ||
               (c == '.' && at + 1 < expression.size() &&
                std::isdigit(static_cast<unsigned char>(expression[at + 1])))) {
      std::string digits;
      while (at < expression.size()) {
        const char d = expression[at];
        const bool sign = (d == '+' || d == '-') && !digits.empty() &&
                          (digits.back() == 'e' || digits.back() == 'E');
        if (!std::isdigit(static_cast<unsigned char>(d)) && d != '.' && d != 'e' && d != 'E' &&
            !sign)
          break;
        digits += d;
        ++at;
      }
      move(NumberType(digits), digits);
    } else if (std::isalpha(static_cast<unsigned char>(c)) || c == '_') {
      std::string word;
      while (at < expression.size() &&
             (std::isalnum(static_cast<unsigned char>(expression[at])) || expression[at] == '_')) {
        word += expression[at++];
      }
      std::string lower;
      for (char letter : word)
        lower += static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
      const std::size_t next = expression.find_first_not_of(' ', at);
      const bool textFollows = next != std::string::npos && expression[next] == '\'';
      if (textFollows && (lower == "date" || lower == "time" || lower == "timestamp")) {
        pendingType = lower;
        at = next;
      } else if (next == at && next != std::string::npos && expression[at] == '(' &&
                 (lower == "varchar" || lower == "char")) {
        // The length of a type is no literal.
        const std::size_t end = expression.find(')', at) + 1;
        moved.expression += word + expression.substr(at, end - at);
        at = end;
      } else if ((lower == "true" || lower == "false") && !moved.expression.ends_with("IS ") &&
                 !moved.expression.ends_with("NOT ")) {
        move("boolean", lower);
      } else {
        moved.expression += word;
      }
    } else {
      moved.expression += c;
      ++at;
    }
  }
  moved.table.name = "literals";
  moved.table.rows = row + "\n";
  return moved;
}

}  // namespace sqxer::test
