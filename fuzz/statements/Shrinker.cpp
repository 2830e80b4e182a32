#include "Shrinker.h"

#include <algorithm>
#include <chrono>

namespace sqxer::fuzz {
namespace {

using Clock = std::chrono::steady_clock;
constexpr std::chrono::seconds kMostTime{30};

class Shrinking {
 public:
  Shrinking(Finding finding, const std::function<bool(const Finding&)>& fails)
      : best_(std::move(finding)), fails_(fails), end_(Clock::now() + kMostTime) {}

  Finding Run() {
    bool isSmaller = true;
    while (isSmaller && Clock::now() < end_) {
      isSmaller = DropClauses(best_.asked.statement);
      isSmaller |= ReplaceExpressions();
      isSmaller |= DropRows();
      isSmaller |= DropSwitches();
    }
    DropColumns();
    return std::move(best_);
  }

 private:
  /// Keeps the change if the finding still fails.
  template <class Change>
  bool Try(const Change& change) {
    if (Clock::now() >= end_) return false;
    Finding tried = best_;
    change(tried);
    if (!fails_(tried)) return false;
    best_ = std::move(tried);
    return true;
  }
  /// Leaves out members of a list, which `find` gives of a finding, one by one.
  template <class Find>
  bool DropMembers(const Find& find, std::size_t least) {
    bool isSmaller = false;
    for (std::size_t i = find(best_).size(); i-- > 0;) {
      if (find(best_).size() <= least) break;
      isSmaller |= Try([&](Finding& tried) {
        auto& list = find(tried);
        list.erase(list.begin() + static_cast<std::ptrdiff_t>(i));
      });
    }
    return isSmaller;
  }

  bool DropClauses(const Statement& now) {
    bool isSmaller = false;
    // Parts of the statement, and of its query.
    for (const bool ofQuery : {false, true}) {
      if (ofQuery && now.query.empty()) break;
      const auto of = [ofQuery](Finding& finding) -> Statement& {
        Statement& statement = finding.asked.statement;
        return ofQuery ? statement.query[0] : statement;
      };
      const auto drop = [&](const auto& has, const auto& clear) {
        if (has(of(best_))) isSmaller |= Try([&](Finding& tried) { clear(of(tried)); });
      };
      drop([](auto& s) { return s.where.has_value(); }, [](auto& s) { s.where.reset(); });
      drop([](auto& s) { return s.having.has_value(); }, [](auto& s) { s.having.reset(); });
      drop([](auto& s) { return !s.join.empty(); },
           [](auto& s) {
             s.join.clear();
             s.on.reset();
           });
      drop([](auto& s) { return s.isDistinct; }, [](auto& s) { s.isDistinct = false; });
      drop([](auto& s) { return !s.limit.empty(); }, [](auto& s) { s.limit.clear(); });
      drop([](auto& s) { return !s.grouping.empty(); }, [](auto& s) { s.grouping.clear(); });
      // Outputs of these have their places.
      const bool hasPlaces = best_.asked.oracle == Oracle::kPartsOfAggregates || ofQuery;
      if (!hasPlaces) {
        isSmaller |= DropMembers(
            [&](Finding & finding) -> auto& { return of(finding).outputs; }, 1);
      }
      isSmaller |= DropMembers(
          [&](Finding & finding) -> auto& { return of(finding).order; }, 0);
      isSmaller |= DropMembers(
          [&](Finding & finding) -> auto& { return of(finding).keys; },
          best_.asked.oracle == Oracle::kWindow ? 1 : 0);
    }
    return isSmaller;
  }

  /// Each by one of its operands, or by a constant.
  bool ReplaceExpressions() {
    bool isSmaller = false;
    for (std::size_t i = 0; i < ExpressionsOf(best_.asked).size(); ++i) {
      bool isReplaced = !IsPart(*ExpressionsOf(best_.asked)[i]);
      while (isReplaced) {
        isReplaced = false;
        const Expression now = *ExpressionsOf(best_.asked)[i];
        for (const Expression& other : ReplacementsOf(now)) {
          isReplaced = Try([&](Finding& tried) { *ExpressionsOf(tried.asked)[i] = other; });
          if (isReplaced) break;
        }
        isSmaller |= isReplaced;
      }
    }
    return isSmaller;
  }

  /// Whether it is an aggregate of which parts are put together, which nothing else can be.
  bool IsPart(const Expression& expression) const {
    return best_.asked.oracle == Oracle::kPartsOfAggregates &&
           std::ranges::any_of(best_.asked.statement.outputs,
                               [&](const Expression& output) { return &output == &expression; });
  }

  static std::vector<Expression> ReplacementsOf(const Expression& now) {
    std::vector<Expression> others = now.operands;
    const auto size = [](const Expression& expression) { return expression.Sql().size(); };
    std::ranges::stable_sort(others, {}, size);
    static const std::vector<std::string> leaves = {"NULL", "1", "'a'", "TRUE"};
    const bool isLeaf = now.operands.empty();
    for (const std::string& leaf : leaves) {
      // A leaf becomes no other one, but what is shorter.
      if (isLeaf && leaf.size() >= now.pieces[0].size()) continue;
      others.push_back(Leaf(now.kind, leaf));
    }
    return others;
  }

  bool DropRows() {
    bool isSmaller = false;
    for (std::size_t t = 0; t < best_.surroundings.tables.size(); ++t) {
      const auto count = [&] { return best_.surroundings.tables[t].rows.size(); };
      for (std::size_t stretch = std::max<std::size_t>(count() / 2, 1); stretch > 0; stretch /= 2) {
        for (std::size_t from = 0; from < count();) {
          const bool isDropped = Try([&](Finding& tried) {
            auto& rows = tried.surroundings.tables[t].rows;
            const auto first = rows.begin() + static_cast<std::ptrdiff_t>(from);
            const auto size = std::min(stretch, rows.size() - from);
            rows.erase(first, first + static_cast<std::ptrdiff_t>(size));
            // The row that becomes constants.
            std::size_t& row = tried.asked.row;
            if (t == 0 && row >= from) row = row < from + size ? rows.size() : row - size;
          });
          isSmaller |= isDropped;
          if (!isDropped) from += stretch;
        }
      }
    }
    return isSmaller;
  }

  bool DropSwitches() {
    return DropMembers(
        [](Finding & finding) -> auto& { return finding.surroundings.switches; }, 0);
  }

  /// Last of all, since expressions know columns by their places: only those at the end go, and
  /// those of `s`.
  void DropColumns() {
    for (std::size_t t = best_.surroundings.tables.size(); t-- > 0;) {
      const bool isKnownByPlace = best_.asked.oracle == Oracle::kConstants && t == 0;
      for (std::size_t i = best_.surroundings.tables[t].columns.size(); i-- > 1;) {
        const bool isDropped = Try([&](Finding& tried) {
          RandomTable& table = tried.surroundings.tables[t];
          const auto at = static_cast<std::ptrdiff_t>(i);
          table.columns.erase(table.columns.begin() + at);
          for (auto& row : table.rows) row.erase(row.begin() + at);
        });
        if (!isDropped && isKnownByPlace) break;
      }
    }
  }

  Finding best_;
  const std::function<bool(const Finding&)>& fails_;
  const Clock::time_point end_;
};

std::string Block(const Answer& answer) {
  std::string text =
      std::string(answer.outcome.isError ? "error" : "query") + "\n" + answer.sql + "\n----\n";
  for (const std::string& line : answer.outcome.lines) text += line + "\n";
  return text;
}

}  // namespace

Finding Shrink(Finding finding, const std::function<bool(const Finding&)>& fails) {
  return Shrinking(std::move(finding), fails).Run();
}

std::string TestText(const Finding& finding, const Verdict& verdict) {
  std::string text = "# " + std::string(NameOf(finding.asked.oracle)) + ": " +
                     (verdict.difference.empty() ? "what is asked" : verdict.difference) + "\n";
  std::string all;
  for (const Answer& answer : verdict.answers) all += answer.sql + "\n";
  for (const auto& [name, value] : finding.surroundings.switches) {
    text += "set " + name + "=" + value + "\n";
  }
  text += "\n";
  for (const RandomTable& table : finding.surroundings.tables) {
    if (all.find("FROM " + table.name) == all.npos && all.find("JOIN " + table.name) == all.npos) {
      continue;
    }
    text += "table " + table.name + " " + table.Schema() + "\n" + table.Lines() + "\n";
  }
  std::string known;
  for (const Answer& answer : verdict.answers) {
    if (answer.sql != known) {
      text += Block(answer) + "\n";
    } else if (answer.outcome != verdict.answers.front().outcome) {
      text += "# " + std::string(NameOf(answer.way)) + ": " + answer.outcome.types + "\n";
      for (const std::string& line : answer.outcome.lines) text += "#   " + line + "\n";
    }
    known = answer.sql;
  }
  return text + "reset\n";
}

}  // namespace sqxer::fuzz
