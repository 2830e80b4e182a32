#include "Shapes.h"

#include <algorithm>
#include <cctype>
#include <regex>
#include <set>

#include "Compiler.h"
#include "FunctionTable.h"
#include "World.h"
#include "server/Query/Execution/Engine/TemporaryFolder.h"
#include "sql/ExampleText.h"
#include "support/Sanitizers.h"

namespace sqxer::fuzz {
namespace {

std::string Upper(std::string text) {
  std::ranges::transform(text, text.begin(), [](unsigned char c) { return std::toupper(c); });
  return text;
}

/// `NAME(...)`, with WITHIN GROUP (...) behind it, as it first stands in a statement; empty if it
/// does not.
std::string FindCall(const std::string& statement, std::string_view name) {
  const std::string upper = Upper(statement);
  const std::string start = Upper(std::string(name)) + "(";
  const std::size_t from = upper.find(start);
  if (from == std::string::npos) return "";
  const auto closing = [&](std::size_t at) {
    int depth = 0;
    bool isText = false;
    for (; at < upper.size(); ++at) {
      if (upper[at] == '\'') isText = !isText;
      if (isText) continue;
      if (upper[at] == '(') ++depth;
      if (upper[at] == ')' && --depth == 0) break;
    }
    return at + 1;
  };
  std::size_t end = closing(from + start.size() - 1);
  const std::string within = " WITHIN GROUP (";
  if (upper.compare(end, within.size(), within) == 0) end = closing(end + within.size() - 1);
  return statement.substr(from, end - from);
}

bool IsLiteralText(const std::string& literal) { return literal.front() == '\''; }

/// The call, and of an aggregate the same with DISTINCT and with ORDER BY, where it has these.
std::vector<CallShape> VariantsOf(CallShape shape, const FunctionRow& row) {
  std::vector<CallShape> variants = {shape};
  if (row.aggregate == nullptr || shape.literals.empty()) return variants;
  const std::string start = shape.pieces[0];
  const bool isBare = start.ends_with("(") && shape.pieces.back() == ")";
  const bool takesDistinct = row.aggregate->distinct != AggregateShape::Distinct::kRefused;
  if (isBare && takesDistinct) {
    variants.push_back(shape);
    variants.back().pieces[0] += "DISTINCT ";
  }
  if (isBare && row.aggregate->order == AggregateShape::Order::kTaken) {
    variants.push_back(shape);
    variants.back().pieces.back() = " ORDER BY ";
    variants.back().pieces.push_back(" DESC)");
    variants.back().literals.push_back("1");
  }
  return variants;
}

/// With what the planner is asked about a kind: the column of the probe's table.
std::string ProbeColumn(OperandKind kind) { return "p" + std::to_string(kind); }

/// A table of a column of each kind, whose values are of boundaries no longer than the type.
void AddProbe(Session& session, const test::TemporaryFolder& folder) {
  std::string header = "id", line = "1", schema = "id:int4";
  for (int kind = 0; kind < kKinds; ++kind) {
    const auto isOfKind = [&](const Storage& storage) {
      return static_cast<int>(storage.kind) == kind;
    };
    const Storage& storage = *std::ranges::find_if(Storages(), isOfKind);
    header += "," + ProbeColumn(kind);
    line += "," + storage.values[0];
    schema += "," + ProbeColumn(kind) + ":" + storage.declared;
  }
  // With a NULL in each, so that no column is known to have none.
  folder.Write("probe.csv", header + "\n" + line + "\n2" + std::string(kKinds, ',') + "\n");
  session.SetDirectory(folder.Path());
  session.SetSchema("probe", schema);
  TextTableOptions options;
  options.file.threads = 1;
  session.SetFileOptions(options);
}

std::string Fill(const CallShape& shape, const std::vector<OperandKind>& operands) {
  std::string sql = shape.pieces[0];
  for (std::size_t i = 0; i < operands.size(); ++i) {
    sql += operands[i] == kLiteral ? shape.literals[i] : ProbeColumn(operands[i]);
    sql += shape.pieces[i + 1];
  }
  return sql;
}

/// The kinds of what a call gives, an empty list if the planner refuses it.
std::vector<std::optional<Kind>> ResultsOf(Session& session, const std::string& call) {
  std::vector<std::optional<Kind>> kinds;
  try {
    const QueryPlan plan = CompileStatement("SELECT " + call + " FROM probe", session);
    for (int i = 0; i < plan.visibleOutputs; ++i) {
      kinds.push_back(KindOf(plan.outputs[static_cast<std::size_t>(i)].result.type));
    }
  } catch (const ErrorMessage&) {
    kinds.clear();
  }
  return kinds;
}

/// What OVER says for the planner to take a call.
const char* ProbeWindow(WindowForm form) {
  switch (form) {
    case WindowForm::kRunning:
      return " OVER (ROWS UNBOUNDED PRECEDING)";
    case WindowForm::kRankByKeys:
    case WindowForm::kRankByKey:
      return " OVER (ORDER BY id)";
    default:
      return " OVER ()";
  }
}

/// With a sanitizer the planner takes ten times as long.
constexpr unsigned kMixturesOneIn = test::ShareOfCases(3) == 3 ? 2 : 6;

/// The operands to ask about: each kind in one gap, in all gaps, and mixtures.
std::vector<std::vector<OperandKind>> Choices(std::size_t gaps, Random& random) {
  std::vector<std::vector<OperandKind>> choices = {std::vector<OperandKind>(gaps, kLiteral)};
  if (gaps == 0) return choices;
  for (OperandKind kind = 0; kind < kKinds; ++kind) {
    for (std::size_t i = 0; i < gaps; ++i) {
      choices.emplace_back(gaps, kLiteral)[i] = kind;
    }
    if (gaps == 1) continue;
    choices.emplace_back(gaps, kind);
    if (gaps == 2) {
      for (OperandKind other = 0; other < kKinds; ++other) {
        if (other != kind && OneIn(random, kMixturesOneIn)) choices.push_back({kind, other});
      }
      continue;
    }
    // What decides the type is often the first or the last one.
    choices.emplace_back(gaps, kind)[0] = kLiteral;
    choices.emplace_back(gaps, kind).back() = kLiteral;
    for (unsigned i = 0; i < 6 / kMixturesOneIn; ++i) {
      auto& mixed = choices.emplace_back(gaps, kind);
      for (OperandKind& operand : mixed) {
        if (OneIn(random, 2))
          operand = OneIn(random, 3) ? kLiteral : static_cast<int>(random() % kKinds);
      }
    }
  }
  return choices;
}

}  // namespace

Shapes::Shapes(const std::string& examples) : isReachable_(FunctionTable().size()) {
  Session session;
  const test::TemporaryFolder folder;
  AddProbe(session, folder);
  World::AddExamples(session, examples);
  Random random(1);
  std::set<std::string> texts, numbers;
  const std::vector<FunctionRow>& rows = FunctionTable();
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const FunctionRow& row = rows[i];
    if (row.isVolatile) continue;
    const std::string example = row.example;
    static const std::regex table(R"( FROM (?:[a-z"]|GENERATE_SERIES))");
    const bool hasTable = std::regex_search(example, table);
    const bool isCall = row.kind == FunctionRow::Kind::kAggregate ||
                        row.kind == FunctionRow::Kind::kWindow ||
                        row.kind == FunctionRow::Kind::kFunction;
    const std::string call = hasTable && isCall ? FindCall(example, row.name) : "";
    const test::CutText cut = !hasTable       ? test::CutAtLiterals("(" + example.substr(7) + ")")
                              : !call.empty() ? test::CutAtLiterals(call, true)
                                              : test::CutAtLiterals(example);
    for (const std::string& literal : cut.holes) {
      if (IsLiteralText(literal)) texts.insert(literal);
      if (std::isdigit(static_cast<unsigned char>(literal.front()))) numbers.insert(literal);
    }
    CallShape shape{static_cast<int>(i), cut.pieces, cut.holes};
    isReachable_[i] = true;
    if (hasTable && call.empty()) {
      statements_.push_back(std::move(shape));
      continue;
    }
    if (!call.empty()) {
      // Names of the example's columns are none of ours.
      for (std::string& literal : shape.literals) {
        if (literal.front() == '"' || std::islower(static_cast<unsigned char>(literal.front()))) {
          literal = "1";
        }
      }
    }
    for (CallShape& variant : VariantsOf(std::move(shape), row)) {
      shapes_.push_back(std::make_unique<CallShape>(std::move(variant)));
      const CallShape& added = *shapes_.back();
      if (row.aggregate == nullptr) {
        Probe(session, added, CallUse::kScalar, random);
        continue;
      }
      if (row.kind != FunctionRow::Kind::kWindow)
        Probe(session, added, CallUse::kAggregate, random);
      Probe(session, added, CallUse::kWindow, random);
    }
  }
  texts_.assign(texts.begin(), texts.end());
  numbers_.assign(numbers.begin(), numbers.end());
  for (int kind = 0; kind < kKinds; ++kind) {
    const char* const type = CastName(static_cast<Kind>(kind));
    if (type == nullptr) continue;
    for (const char* const cast : {"CAST(", "TRY_CAST("}) {
      shapes_.push_back(std::make_unique<CallShape>(
          CallShape{-1, {cast, " AS " + std::string(type) + ")"}, {"NULL"}}));
      Probe(session, *shapes_.back(), CallUse::kScalar, random);
    }
  }
}

void Shapes::Probe(Session& session, const CallShape& shape, CallUse use, Random& random) {
  const WindowForm form = shape.row < 0
                              ? WindowForm::kGroup
                              : FunctionTable()[static_cast<std::size_t>(shape.row)].windowForm;
  std::set<std::vector<OperandKind>> known;
  for (const auto& operands : Choices(shape.literals.size(), random)) {
    if (!known.insert(operands).second) continue;
    std::string call = Fill(shape, operands);
    if (use == CallUse::kWindow) call += ProbeWindow(form);
    const auto results = ResultsOf(session, call);
    if (results.empty()) continue;
    const bool isWide = results.size() > 1;
    if ((isWide || !results[0]) && use == CallUse::kWindow) continue;
    auto& list = isWide       ? wide_
                 : results[0] ? found_[static_cast<int>(use)][static_cast<int>(*results[0])]
                              : opaque_;
    if (list.empty() || list.back().shape != &shape) list.push_back({&shape, {}});
    list.back().signatures.push_back({operands, results[0].value_or(Kind::kText)});
    ++signatures_;
  }
}

std::string RandomFrame(WindowForm form, Random& random) {
  switch (form) {
    case WindowForm::kRunning:
      return " ROWS UNBOUNDED PRECEDING";
    case WindowForm::kMoving:
      return " ROWS " + std::to_string(random() % 4) + " PRECEDING";
    case WindowForm::kGroup:
    case WindowForm::kFramed:
      break;
    default:
      return "";
  }
  if (OneIn(random, 2)) return "";
  static const std::vector<std::string> starts = {"UNBOUNDED PRECEDING", "2 PRECEDING",
                                                  "CURRENT ROW", "1 FOLLOWING"};
  static const std::vector<std::string> ends = {"CURRENT ROW", "1 FOLLOWING", "UNBOUNDED FOLLOWING",
                                                "1 PRECEDING"};
  static const std::vector<std::string> units = {"ROWS", "GROUPS", "RANGE", "ROWS"};
  static const std::vector<std::string> excluded = {
      "", "", "", " EXCLUDE CURRENT ROW", " EXCLUDE GROUP", " EXCLUDE TIES"};
  return " " + Pick(random, units) + " BETWEEN " + Pick(random, starts) + " AND " +
         Pick(random, ends) + Pick(random, excluded);
}

}  // namespace sqxer::fuzz
