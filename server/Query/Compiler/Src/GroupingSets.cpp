#include "GroupingSets.h"

#include <algorithm>

#include "PlanError.h"

namespace sqxer {
namespace {

/// The most sets of one GROUP BY, and elements of one CUBE.
constexpr std::size_t kMostSets = 4096;
constexpr std::size_t kMostCubed = 12;

using Set = SqlGroupingSet;
using Sets = std::vector<Set>;

void Append(Set& set, const Set& more) { set.insert(set.end(), more.begin(), more.end()); }

class Reader {
 public:
  Reader(const SqlExpressionReader& expressions, SqlSelect& select)
      : expressions_(expressions), select_(select) {}

  /// What an element of GROUP BY, or of GROUPING SETS, stands for.
  Sets ReadSets(const PgQuery__Node& node) {
    if (node.node_case != PG_QUERY__NODE__NODE_GROUPING_SET) return {ReadKeys(node)};
    const PgQuery__GroupingSet& written = *node.grouping_set;
    switch (written.kind) {
      case PG_QUERY__GROUPING_SET_KIND__GROUPING_SET_EMPTY:
        return {{}};
      case PG_QUERY__GROUPING_SET_KIND__GROUPING_SET_ROLLUP:
        return RollUp(ReadElements(written));
      case PG_QUERY__GROUPING_SET_KIND__GROUPING_SET_CUBE:
        if (written.n_content > kMostCubed)
          ThrowPlanError(kGroupingSets, written.location,
                         {L"CUBE has at most " + std::to_wstring(kMostCubed) + L" elements"});
        return Cube(ReadElements(written));
      default:
        break;
    }
    Sets sets;
    for (std::size_t i = 0; i < written.n_content; ++i) {
      for (Set& set : ReadSets(*written.content[i])) sets.push_back(std::move(set));
      CheckCount(sets.size(), written.location);
    }
    return sets;
  }

  /// Each set of one with each of the other.
  static Sets Combine(const Sets& sets, const Sets& others, int position) {
    CheckCount(sets.size() * others.size(), position);
    Sets combined;
    for (const Set& set : sets) {
      for (const Set& other : others) Append(combined.emplace_back(set), other);
    }
    return combined;
  }

 private:
  static void CheckCount(std::size_t sets, int position) {
    if (sets > kMostSets)
      ThrowPlanError(kGroupingSets, position,
                     {L"GROUP BY has at most " + std::to_wstring(kMostSets) + L" grouping sets"});
  }

  /// A key, or some in parentheses.
  Set ReadKeys(const PgQuery__Node& node) {
    Set keys;
    if (node.node_case == PG_QUERY__NODE__NODE_ROW_EXPR) {
      const PgQuery__RowExpr& row = *node.row_expr;
      for (std::size_t i = 0; i < row.n_args; ++i) Append(keys, ReadKeys(*row.args[i]));
    } else {
      keys.push_back(select_.groupBy.size());
      select_.groupBy.push_back(expressions_.Read(node));
    }
    return keys;
  }

  Sets ReadElements(const PgQuery__GroupingSet& written) {
    Sets elements;
    for (std::size_t i = 0; i < written.n_content; ++i)
      elements.push_back(ReadKeys(*written.content[i]));
    return elements;
  }

  static Sets RollUp(const Sets& elements) {
    Sets sets(1);
    for (const Set& element : elements) {
      Set longer = sets.back();
      Append(longer, element);
      sets.push_back(std::move(longer));
    }
    std::ranges::reverse(sets);
    return sets;
  }

  static Sets Cube(const Sets& elements) {
    Sets sets(1);
    for (const Set& element : elements) {
      Sets doubled;
      for (const Set& set : sets) {
        Append(doubled.emplace_back(set), element);
        doubled.push_back(set);
      }
      sets = std::move(doubled);
    }
    return sets;
  }

  const SqlExpressionReader& expressions_;
  SqlSelect& select_;
};

}  // namespace

void ReadGroupBy(const PgQuery__SelectStmt& statement, const SqlExpressionReader& expressions,
                 SqlSelect& select) {
  Reader reader(expressions, select);
  Sets sets(1);
  for (std::size_t i = 0; i < statement.n_group_clause; ++i) {
    const PgQuery__Node& element = *statement.group_clause[i];
    const bool isSets = element.node_case == PG_QUERY__NODE__NODE_GROUPING_SET;
    select.hasGroupingSets = select.hasGroupingSets || isSets;
    sets = Reader::Combine(sets, reader.ReadSets(element),
                           isSets ? element.grouping_set->location : 0);
  }
  if (!select.hasGroupingSets) return;
  select.groupingSets = std::move(sets);
  select.distinctSets = statement.group_distinct;
}

}  // namespace sqxer
