#include "Oracles.h"

#include <algorithm>
#include <set>

#include "Engine/Error.h"
#include "EngineError.h"

namespace sqxer::fuzz {
namespace {

/// Says that planning and running do not agree.
bool IsOfBrokenPlan(const Outcome& outcome) {
  return outcome.code == kBadStatus || outcome.code == kUnexpectedNull ||
         outcome.code == kResultTooLong || outcome.code == kResultType;
}

/// Runs what a case asks, and remembers what came.
class Judgement {
 public:
  explicit Judgement(World& world) : world_(world) {}

  const Outcome& Ask(Way way, const std::string& sql) {
    verdict_.answers.push_back({sql, way, world_.Run(way, sql)});
    const Outcome& outcome = verdict_.answers.back().outcome;
    verdict_.hasSucceeded |= !outcome.isError;
    if (IsOfBrokenPlan(outcome)) Differ("an error that no statement should give");
    return outcome;
  }
  /// That the answers so far say.
  void Differ(const std::string& what) { verdict_.difference = what; }
  void Compared() { verdict_.isCompared = true; }
  bool HasDifference() const { return !verdict_.difference.empty(); }
  Verdict Take() { return std::move(verdict_); }

 private:
  World& world_;
  Verdict verdict_;
};

/// What the machine had no room or time for says nothing.
bool IsOfMachine(const Outcome& outcome) {
  return outcome.isError &&
         (outcome.code == Outcome::kNoMemory || outcome.code == engine::Error::kTimedOut);
}

std::vector<std::string> Sorted(std::vector<std::string> lines) {
  std::ranges::sort(lines);
  return lines;
}

/// Whether a statement, or one in it, may end before it has seen all rows.
bool EndsEarly(const Statement& statement) {
  return !statement.limit.empty() || std::ranges::any_of(statement.query, EndsEarly);
}

/// The same statement, in other ways: all must be equal, or errors both. With `isSameError` the
/// errors too; without it what is wrong behind the rows that LIMIT leaves may be told or not.
void AskInWays(Judgement& judgement, const Statement& statement, Way first,
               const std::vector<Way>& others, bool isSameError) {
  const std::string sql = statement.Sql();
  const Outcome expected = judgement.Ask(first, sql);
  if (IsOfMachine(expected)) return;
  judgement.Compared();
  for (const Way way : others) {
    const Outcome found = judgement.Ask(way, sql);
    if (IsOfMachine(found) || found == expected) continue;
    const bool isErrorInBoth = found.isError && expected.isError;
    const bool isErrorInOne = found.isError != expected.isError;
    if (!isSameError && (isErrorInBoth || (isErrorInOne && EndsEarly(statement)))) continue;
    // What a limit of memory refuses.
    if (way == Way::kTinyMemory && (found.code == kFrameTooLarge || found.code == kJoinTooLarge)) {
      continue;
    }
    judgement.Differ(std::string(NameOf(way)) + " it is not what it is " + NameOf(first));
    return;
  }
}

Expression WithConstants(const Expression& expression, const RandomTable& table, std::size_t row) {
  if (expression.column >= 0) {
    const auto column = static_cast<std::size_t>(expression.column);
    return Leaf(expression.kind, TypedConstant(expression.kind, table.columns[column].declared,
                                               table.rows[row][column]));
  }
  Expression made = expression;
  for (Expression& operand : made.operands) operand = WithConstants(operand, table, row);
  return made;
}

/// Whether the table still has the columns that an expression reads, when a finding is made
/// smaller.
bool HasColumnsOf(const Expression& expression, const RandomTable& table) {
  return expression.column < static_cast<int>(table.columns.size()) &&
         std::ranges::all_of(expression.operands, [&](const Expression& operand) {
           return HasColumnsOf(operand, table);
         });
}

/// Operands that must be literals, or the same in every row, are refused as columns by codes of the
/// planner's own. IN takes its constants first, so which of two types does not become the other
/// differs.
bool DependsOnPlace(const Outcome& outcome) {
  static const std::set<int> codes = {58020, 58025, 58032, 58033, 58035, 58075, 59030};
  return outcome.isError && codes.contains(outcome.code);
}

void AskConstants(Judgement& judgement, const Case& asked, const RandomTable& table) {
  const Expression& expression = asked.statement.outputs[0];
  if (asked.row >= table.rows.size() || !HasColumnsOf(expression, table)) return;
  const std::string filter = " FROM t WHERE id = " + table.rows[asked.row][0].value();
  const Outcome ofColumns = judgement.Ask(Way::kRows, "SELECT " + expression.Sql() + filter);
  const Outcome ofConstants =
      judgement.Ask(Way::kRows, "SELECT " + WithConstants(expression, table, asked.row).Sql());
  if (IsOfMachine(ofColumns) || IsOfMachine(ofConstants)) return;
  if (DependsOnPlace(ofColumns) || DependsOnPlace(ofConstants)) return;
  judgement.Compared();
  if (ofColumns.isError || ofConstants.isError) {
    if (ofColumns.message != ofConstants.message) judgement.Differ("the constants say otherwise");
  } else if (ofColumns.lines != ofConstants.lines || ofColumns.types != ofConstants.types) {
    judgement.Differ("of constants it is not what it is of columns");
  }
}

/// The condition, its opposite, and that it is neither.
std::vector<std::string> PartsOf(const Expression& condition) {
  const std::string sql = condition.Sql();
  return {"(" + sql + ")", "NOT (" + sql + ")", "(" + sql + ") IS NULL"};
}

/// Lines of several statements, nullopt if one is an error.
std::optional<std::vector<std::string>> AskAll(Judgement& judgement,
                                               const std::vector<std::string>& statements) {
  std::vector<std::string> lines;
  for (const std::string& sql : statements) {
    const Outcome& outcome = judgement.Ask(Way::kBatches, sql);
    if (outcome.isError) return std::nullopt;
    lines.insert(lines.end(), outcome.lines.begin(), outcome.lines.end());
  }
  return lines;
}

void AskSame(Judgement& judgement, const std::vector<std::string>& one,
             const std::vector<std::string>& other, const char* what) {
  const auto expected = AskAll(judgement, one);
  if (!expected) return;
  const auto found = AskAll(judgement, other);
  if (!found) return;
  judgement.Compared();
  if (Sorted(*expected) != Sorted(*found)) judgement.Differ(what);
}

void AskParts(Judgement& judgement, const Case& asked) {
  const Statement& statement = asked.statement;
  std::vector<std::string> parts;
  for (const std::string& part : PartsOf(*asked.condition)) {
    parts.push_back("SELECT " + statement.SqlOfOutputs(true) +
                    (asked.oracle == Oracle::kPartsOfGroups
                         ? statement.SqlOfRows() + statement.SqlOfGroups(part)
                         : statement.SqlOfRows(part)));
  }
  const std::string whole = "SELECT " + statement.SqlOfOutputs(true) + statement.SqlOfRows("") +
                            statement.SqlOfGroups("");
  if (asked.oracle != Oracle::kPartsOfAggregates) {
    AskSame(judgement, {whole}, parts, "the three parts of the condition are not the whole");
    return;
  }
  AskSame(judgement, {whole},
          {"SELECT SUM(q0), MIN(q1), MAX(q2), SUM(q3) FROM (" + parts[0] + " UNION ALL " +
           parts[1] + " UNION ALL " + parts[2] + ") AS parts"},
          "what the three parts of the condition come to is not the whole");
}

void AskCount(Judgement& judgement, const Case& asked) {
  const Statement& statement = asked.statement;
  const std::string condition = asked.condition->Sql();
  // Over no rows the sum is NULL.
  AskSame(judgement, {"SELECT COUNT(*)" + statement.SqlOfRows(condition)},
          {"SELECT COALESCE(SUM(CASE WHEN " + condition + " THEN 1 ELSE 0 END), 0)" +
           statement.SqlOfRows("")},
          "WHERE leaves other rows than CASE counts");
}

void AskDistinct(Judgement& judgement, const Case& asked) {
  const Statement& statement = asked.statement;
  std::string places;
  for (std::size_t i = 1; i <= statement.outputs.size(); ++i) {
    places += (i == 1 ? "" : ", ") + std::to_string(i);
  }
  const std::string rows = statement.SqlOfOutputs() + statement.SqlOfRows();
  AskSame(judgement, {"SELECT DISTINCT " + rows}, {"SELECT " + rows + " GROUP BY " + places},
          "DISTINCT is not what GROUP BY is");
}

void AskWindow(Judgement& judgement, const Case& asked) {
  const Statement& statement = asked.statement;
  const std::string over = " OVER (PARTITION BY " + statement.keys[0].Sql() + ")";
  const std::string value = statement.outputs[0].Sql();
  AskSame(judgement, {"SELECT " + value + statement.SqlOfRows() + statement.SqlOfGroups()},
          {"SELECT a FROM (SELECT ROW_NUMBER()" + over + " AS n, " + value + over + " AS a" +
           statement.SqlOfRows() + ") AS w WHERE n = 1"},
          "over partitions the aggregate is not what it is of groups");
}

/// Kinds of which equal values look alike.
Kind KindOfOneLook(Random& random) {
  static const std::vector<Kind> kinds = {Kind::kInteger, Kind::kDate, Kind::kTime,
                                          Kind::kTimestamp, Kind::kBoolean};
  return Pick(random, kinds);
}

void Collect(Expression& expression, std::vector<Expression*>& all) {
  all.push_back(&expression);
  for (Expression& operand : expression.operands) Collect(operand, all);
}

void Collect(Statement& statement, std::vector<Expression*>& all) {
  for (Statement& query : statement.query) Collect(query, all);
  for (auto* one : {&statement.on, &statement.where, &statement.having}) {
    if (*one) Collect(**one, all);
  }
  for (auto* list : {&statement.outputs, &statement.keys}) {
    for (Expression& expression : *list) Collect(expression, all);
  }
  for (OrderKey& key : statement.order) Collect(key.key, all);
}

}  // namespace

const char* NameOf(Oracle oracle) {
  static constexpr const char* kNames[kOracles] = {
      "batches",         "threads", "memory",   "constants", "parts of rows", "parts of aggregates",
      "parts of groups", "count",   "distinct", "window"};
  return kNames[static_cast<int>(oracle)];
}

Case MakeCase(Oracle oracle, Generator& generator, const Surroundings& surroundings,
              Random& random) {
  Case made{oracle, {}, {}, 0};
  Statement& statement = made.statement;
  const auto add = [&](Kind kind, int depth, const Scope& scope) {
    statement.outputs.push_back(generator.MakeExpression(kind, depth, scope));
  };
  switch (oracle) {
    case Oracle::kBatches:
    case Oracle::kThreads:
    case Oracle::kMemory:
      statement = generator.MakeStatement();
      return made;
    case Oracle::kConstants: {
      Scope scope = generator.ScopeOf(statement);
      // Types without constants that are typed as their columns are.
      std::erase_if(scope.columns, [&](const Expression& column) {
        static const std::set<std::string> declared = {"int4", "double", "numeric",   "boolean",
                                                       "date", "time",   "timestamp", "interval"};
        const std::string& type =
            surroundings.tables[0].columns[static_cast<std::size_t>(column.column)].declared;
        return !declared.contains(type) && !type.starts_with("varchar");
      });
      add(generator.RandomKind(), 3, scope);
      const std::size_t rows = surroundings.tables[0].rows.size();
      made.row = rows == 0 ? 0 : random() % rows;
      return made;
    }
    default:
      break;
  }
  statement = generator.MakeRows();
  const Scope rows = generator.ScopeOf(statement);
  Scope groups;
  switch (oracle) {
    case Oracle::kPartsOfAggregates:
      statement.outputs = {
          Leaf(Kind::kUnsigned, "COUNT(*)"),
          Around(Kind::kInteger, "MIN(", generator.MakeExpression(KindOfOneLook(random), 2, rows),
                 ")"),
          Around(Kind::kInteger, "MAX(", generator.MakeExpression(KindOfOneLook(random), 2, rows),
                 ")"),
          // With IntegerDivideAsDouble it may be a double, whose sums depend on their order.
          Around(Kind::kInteger, "SUM(CAST(", generator.MakeExpression(Kind::kInteger, 2, rows),
                 " AS bigint))")};
      break;
    case Oracle::kWindow:
      statement.keys.push_back(Around(
          Kind::kInteger, "(", generator.MakeExpression(generator.RandomKind(), 1, rows), ")"));
      statement.outputs.push_back(generator.MakeAggregate(generator.RandomKind(), 2, rows));
      return made;
    case Oracle::kPartsOfGroups: {
      const Kind kind = generator.RandomKind();
      statement.keys.push_back(Around(kind, "(", generator.MakeExpression(kind, 1, rows), ")"));
      groups.columns = statement.keys;
      groups.rows = &rows;
      add(generator.RandomKind(), 2, groups);
      break;
    }
    default:
      for (unsigned left = 1 + random() % 3; left > 0; --left) {
        add(generator.RandomKind(), 2, rows);
      }
  }
  if (oracle == Oracle::kDistinct) {
    if (OneIn(random, 3)) statement.where = generator.MakeExpression(Kind::kBoolean, 2, rows);
    return made;
  }
  Scope scope = groups.rows != nullptr ? groups : rows;
  scope.hasQueries = true;
  made.condition = generator.MakeExpression(Kind::kBoolean, 3, scope);
  return made;
}

std::vector<Expression*> ExpressionsOf(Case& asked) {
  std::vector<Expression*> all;
  Collect(asked.statement, all);
  if (asked.condition) Collect(*asked.condition, all);
  return all;
}

Verdict Judge(const Case& asked, World& world) {
  Judgement judgement(world);
  switch (asked.oracle) {
    case Oracle::kBatches:
      AskInWays(judgement, asked.statement, Way::kRows,
                {Way::kBatches, Way::kBatchesOfThree, Way::kBatchesOfOne, Way::kGarbage,
                 Way::kDictionaries},
                true);
      break;
    case Oracle::kThreads:
      AskInWays(judgement, asked.statement, Way::kBatches, {Way::kThreads}, true);
      break;
    case Oracle::kMemory:
      AskInWays(judgement, asked.statement, Way::kBatches, {Way::kTinyMemory, Way::kNothingKept},
                false);
      break;
    case Oracle::kConstants:
      AskConstants(judgement, asked, world.GetSurroundings().tables[0]);
      break;
    case Oracle::kPartsOfRows:
    case Oracle::kPartsOfAggregates:
    case Oracle::kPartsOfGroups:
      AskParts(judgement, asked);
      break;
    case Oracle::kCount:
      AskCount(judgement, asked);
      break;
    case Oracle::kDistinct:
      AskDistinct(judgement, asked);
      break;
    case Oracle::kWindow:
      AskWindow(judgement, asked);
      break;
  }
  return judgement.Take();
}

}  // namespace sqxer::fuzz
