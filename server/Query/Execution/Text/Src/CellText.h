#pragma once

#include <string>
#include <string_view>

namespace sqxer {

/// Texts as cells of tables and charts. All are UTF-8.

/// Stands for what a cell has no room for.
inline constexpr std::string_view kEllipsis = "\u2026";

/// Characters that would break a line, or give orders to a terminal, as escapes such as \n.
std::string Escape(const std::string& text);

/// Columns of a terminal that the text takes: East Asian characters take two, combining ones none.
std::size_t DisplayWidth(std::string_view text);

/// A text of at most `width` columns, at least 1: its beginning and an ellipsis where it takes
/// more.
std::string Shorten(const std::string& text, std::size_t width);

/// The text of a number of more than 30 digits with a fraction, as quotients and roots have that do
/// not end, is rounded to 16 significant ones; those before the point stay all. Other texts stay as
/// they are.
void RoundEndless(std::string& number);

}  // namespace sqxer
