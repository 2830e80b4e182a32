#include "NearNames.h"

#include <algorithm>

namespace sqxer {
namespace {

constexpr std::size_t kMostNames = 3;

/// How many letters have to be put in, left out, changed, or changed with their neighbour.
std::size_t CountChanges(std::string_view from, std::string_view to) {
  // Of the prefixes of `to`, for the prefix of `from` that ends here, and for the two before it.
  std::vector<std::size_t> row(to.size() + 1), last(to.size() + 1), beforeLast(to.size() + 1);
  for (std::size_t j = 0; j <= to.size(); ++j) row[j] = j;
  for (std::size_t i = 1; i <= from.size(); ++i) {
    beforeLast.swap(last);
    last.swap(row);
    row[0] = i;
    for (std::size_t j = 1; j <= to.size(); ++j) {
      row[j] = std::min({row[j - 1] + 1, last[j] + 1, last[j - 1] + (from[i - 1] != to[j - 1])});
      if (i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1]) {
        row[j] = std::min(row[j], beforeLast[j - 2] + 1);
      }
    }
  }
  return row[to.size()];
}

}  // namespace

std::vector<std::string_view> FindNearNames(std::string_view name,
                                            std::span<const std::string_view> names) {
  // More changes make another word of a short one.
  std::size_t fewest = name.size() < 6 ? 1 : 2;
  std::vector<std::string_view> nearest;
  for (const std::string_view other : names) {
    const std::size_t changes = CountChanges(name, other);
    if (changes > fewest) continue;
    if (changes < fewest) nearest.clear();
    fewest = changes;
    if (std::ranges::find(nearest, other) == nearest.end()) nearest.push_back(other);
  }
  nearest.resize(std::min(nearest.size(), kMostNames));
  return nearest;
}

XeString AdviseNames(const XeString& name, const std::vector<XeString>& names) {
  const auto folded = [](XeString text) {
    std::ranges::transform(text, text.begin(), &BaseStringUtil::FoldCase);
    return BaseStringUtil::StringToUtf8(text);
  };
  std::vector<std::string> texts;
  for (const XeString& other : names) texts.push_back(folded(other));
  const std::vector<std::string_view> views(texts.begin(), texts.end());
  XeString advice;
  for (const std::string_view near : FindNearNames(folded(name), views)) {
    const auto found = std::ranges::find(views, near) - views.begin();
    advice += advice.empty() ? L"did you mean \"" : L" or \"";
    advice += names[static_cast<std::size_t>(found)] + L"\"";
  }
  return advice.empty() ? advice : advice + L"?";
}

}  // namespace sqxer
