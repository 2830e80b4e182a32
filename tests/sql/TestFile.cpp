#include "TestFile.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <optional>
#include <regex>

#include "Utility/BaseStringUtil.h"

namespace sqxer::test {
namespace {

std::string Replace(const std::string& text, const char* what, const char* by) {
  return std::regex_replace(text, std::regex(what), by);
}
std::string Trim(const std::string& text) {
  const std::size_t first = text.find_first_not_of(' ');
  if (first == std::string::npos) return "";
  return text.substr(first, text.find_last_not_of(' ') - first + 1);
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
        const auto read = [&] {
          if (word == "lines") return ReadLines();
          return std::vector{word == "session" ? ReadSession() : ReadCase(word, rest)};
        };
        for (TestCase& test : read()) {
          for (const auto& [name, table] : tables) test.tables.push_back(table);
          test.switches = switches;
          test.parameters = parameters;
          cases.push_back(std::move(test));
        }
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

  std::vector<TestCase> ReadLines() {
    std::vector<TestCase> cases;
    for (auto line = Next(); line && !line->empty(); line = Next()) {
      if (line->front() == '#') continue;
      const std::size_t arrow = line->rfind(" =>");
      if (arrow == std::string::npos) Fail("a line needs ' =>'");
      TestCase& test = cases.emplace_back();
      test.line = line_;
      test.sql = line->substr(0, arrow);
      for (std::string rows = Trim(line->substr(arrow + 3)); !rows.empty();) {
        test.expected.push_back(rows.substr(0, rows.find(" | ")));
        rows.erase(0, test.expected.back().size() + 3);
      }
      const bool fails = !test.expected.empty() && test.expected[0].starts_with("error ");
      if (fails) test.kind = TestCase::Kind::kError;
    }
    return cases;
  }

  TestCase ReadSession() {
    TestCase test{};
    test.kind = TestCase::Kind::kSession;
    test.line = line_;
    test.steps = ReadLines();
    return test;
  }

  TestCase ReadCase(const std::string& word, const std::string& rest) {
    TestCase test{};
    test.line = line_;
    using enum TestCase::Kind;
    static const std::map<std::string, TestCase::Kind> kinds = {
        {"query ", kQuery},
        {"query unordered", kUnorderedQuery},
        {"error ", kError},
        {"scalar ", kScalar}};
    if (!kinds.contains(word + " " + rest)) Fail("unknown block");
    test.kind = kinds.at(word + " " + rest);
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

}  // namespace

std::vector<TestCase> ReadTestFile(const std::string& path) { return Reader(path).Read(); }

MovedExpression MoveLiterals(const std::string& expression) {
  // A text behind its type, a number, a truth value, a type with its length (which is no literal),
  // another word, or any other character.
  static const std::regex token(
      "(?:(date|time|timestamp|interval) *)?'((?:[^']|'')*)'|(\\.?\\d(?:[\\d.]|e[+-]?)*)|"
      "((?:true|false)\\b)|(?:var)?char\\([^)]*\\)|[a-z_]\\w*|[\\s\\S]",
      std::regex::icase);
  MovedExpression moved{"", {"literals", "", ""}};
  int count = 0;
  const auto move = [&](const std::string& type, const std::string& field) {
    const std::string comma = count == 0 ? "" : ",", name = "c" + std::to_string(++count);
    moved.table.columns += comma + name + ":" + type;
    moved.table.rows += comma + field;
    moved.expression += name;
  };
  for (std::sregex_iterator at(expression.begin(), expression.end(), token), end; at != end; ++at) {
    const std::smatch& found = *at;
    const bool judged = moved.expression.ends_with("IS ") || moved.expression.ends_with("NOT ");
    if (found[2].matched) {
      const std::string text = Replace(found.str(2), "''", "'");
      const std::size_t width = std::max<std::size_t>(BaseStringUtil::CountCharacters(text), 1);
      move(found[1].matched ? found.str(1) : "varchar(" + std::to_string(width) + ")",
           '"' + Replace(text, "\"", "\"\"") + '"');
    } else if (found[3].matched) {
      move(NumberType(found.str()), found.str());
    } else if (found[4].matched && !judged) {
      move("boolean", found.str());
    } else {
      moved.expression += found.str();
    }
  }
  moved.table.rows += "\n";
  return moved;
}

}  // namespace sqxer::test
