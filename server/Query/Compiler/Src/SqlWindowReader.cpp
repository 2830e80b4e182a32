// How SqlExpressionReader reads windows, and the sort keys in them.

#include "PlanError.h"
#include "SqlExpressionReader.h"

namespace sqxer {
namespace {

// The bits of the grammar's frame options; it exports no names for them.
constexpr int kFrameIsWritten = 0x1;
constexpr int kFrameInRows = 0x4;
constexpr int kFrameInGroups = 0x8;
constexpr int kFromFirst = 0x20;
constexpr int kToLast = 0x100;
constexpr int kFromCurrent = 0x200;
constexpr int kToCurrent = 0x400;
constexpr int kFromPreceding = 0x800;
constexpr int kToPreceding = 0x1000;
constexpr int kExceptCurrent = 0x8000;
constexpr int kExceptPeers = 0x10000;
constexpr int kExceptTies = 0x20000;

WindowFrame FrameOf(int options) {
  using Bound = WindowFrame::Bound;
  using Exclusion = WindowFrame::Exclusion;
  const auto limit = [options](int partition, int current, int preceding) {
    const Bound bound = options & partition   ? Bound::kPartition
                        : options & current   ? Bound::kCurrentRow
                        : options & preceding ? Bound::kPreceding
                                              : Bound::kFollowing;
    return WindowFrame::Limit{bound};
  };
  WindowFrame frame;
  frame.unit = options & kFrameInRows     ? WindowFrame::Unit::kRows
               : options & kFrameInGroups ? WindowFrame::Unit::kGroups
                                          : WindowFrame::Unit::kRange;
  frame.from = limit(kFromFirst, kFromCurrent, kFromPreceding);
  frame.to = limit(kToLast, kToCurrent, kToPreceding);
  frame.exclusion = options & kExceptCurrent ? Exclusion::kCurrentRow
                    : options & kExceptPeers ? Exclusion::kPeers
                    : options & kExceptTies  ? Exclusion::kTies
                                             : Exclusion::kNone;
  return frame;
}

}  // namespace

SqlSortItem SqlExpressionReader::ReadSort(const PgQuery__SortBy& sort) const {
  if (sort.sortby_dir == PG_QUERY__SORT_BY_DIR__SORTBY_USING)
    Refuse(sort.location, L"ORDER BY USING");
  SqlSortItem item;
  item.expression = Read(*sort.node);
  if (sort.sortby_dir == PG_QUERY__SORT_BY_DIR__SORTBY_DESC) item.order = kDescending;
  if (sort.sortby_nulls == PG_QUERY__SORT_BY_NULLS__SORTBY_NULLS_FIRST) item.nulls = kNullsFirst;
  return item;
}

std::vector<SqlExpressionPtr> SqlExpressionReader::ReadWindows(PgQuery__Node* const* windows,
                                                               std::size_t count) {
  std::vector<SqlExpressionPtr> keys;
  for (std::size_t i = 0; i < count; ++i) {
    const PgQuery__WindowDef& window = *windows[i]->window_def;
    auto read = std::make_shared<const SqlWindow>(ExtendWindow(window));
    keys.insert(keys.end(), read->partitionBy.begin(), read->partitionBy.end());
    for (const SqlSortItem& item : read->orderBy) keys.push_back(item.expression);
    if (!windows_.emplace(window.name, std::move(read)).second)
      ThrowPlanError(kAmbiguousName, Place(window.location),
                     {Wide(window.name), L"several windows"});
  }
  return keys;
}

SqlWindowPtr SqlExpressionReader::ReadWindow(const PgQuery__WindowDef& window) const {
  if (*window.name) return FindWindow(window.name, Place(window.location));
  return std::make_shared<const SqlWindow>(ExtendWindow(window));
}

SqlWindowPtr SqlExpressionReader::FindWindow(const std::string& name, int position) const {
  const auto found = windows_.find(name);
  if (found == windows_.end()) ThrowPlanError(kNoSuchWindow, position, {Wide(name)});
  return found->second;
}

/// A window written in parentheses, with what it takes over from the one that it names.
SqlWindow SqlExpressionReader::ExtendWindow(const PgQuery__WindowDef& written) const {
  const int position = Place(written.location);
  SqlWindow window;
  if (*written.refname) {
    window = *FindWindow(written.refname, position);
    const auto refuse = [&](const wchar_t* reason) {
      ThrowPlanError(kWindowNotExtended, position, {Wide(written.refname), reason});
    };
    if (window.isFrameWritten)
      refuse(
          L"it has a frame, which belongs to it alone (write OVER and its name without "
          L"parentheses)");
    if (written.n_partition_clause) refuse(L"PARTITION BY is taken over from it");
    if (written.n_order_clause && !window.orderBy.empty()) refuse(L"it has an ORDER BY of its own");
  }
  window.position = position;
  for (std::size_t i = 0; i < written.n_partition_clause; ++i)
    window.partitionBy.push_back(Read(*written.partition_clause[i]));
  for (std::size_t i = 0; i < written.n_order_clause; ++i)
    window.orderBy.push_back(ReadSort(*written.order_clause[i]->sort_by));
  window.frame = FrameOf(written.frame_options);
  window.isFrameWritten = (written.frame_options & kFrameIsWritten) != 0;
  if (written.start_offset) window.fromOffset = Read(*written.start_offset);
  if (written.end_offset) window.toOffset = Read(*written.end_offset);
  return window;
}

}  // namespace sqxer
