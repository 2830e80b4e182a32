#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Kinds.h"

namespace sqxer::fuzz {

struct Column {
  std::string name;
  std::string declared;
  Kind kind;
};

/// A table of boundary values, as a CSV file has them.
struct RandomTable {
  using Value_t = std::optional<std::string>;

  std::string name;
  std::vector<Column> columns;
  std::vector<std::vector<Value_t>> rows;

  /// "a:int4,b:varchar(10)"
  std::string Schema() const;
  /// Lines of CSV, without the header.
  std::string Lines() const;
  std::string Csv() const;
};

/// What a statement is run over, and under which switches.
struct Surroundings {
  /// `t`, whose first column `id` numbers the rows from 0, and `s`.
  std::vector<RandomTable> tables;
  std::vector<std::pair<std::string, std::string>> switches;
};

Surroundings MakeSurroundings(Random& random);

}  // namespace sqxer::fuzz
