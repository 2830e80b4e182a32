#pragma once

#include <string>

namespace CLI {
class App;
}

namespace sqxer {

constexpr const char* kDescription =
    "Evaluates SQL over files: queries of one or several tables, statements that make views, "
    "tables "
    "and files, and EXPLAIN, which prints bound expression trees.";

/// What --help says behind the options.
std::string MakeFooter();

/// The manual page in the macros of man(7): what --help says, and the shell's commands.
std::string MakeManPage(const CLI::App& app);

}  // namespace sqxer
