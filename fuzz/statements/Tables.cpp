#include "Tables.h"

namespace sqxer::fuzz {
namespace {

/// As a field of CSV. An empty field without quotation marks is NULL.
std::string Field(const RandomTable::Value_t& value) {
  if (!value) return "";
  if (!value->empty() && value->find_first_of(",\"\n\r") == value->npos) return *value;
  std::string field = "\"";
  for (const char c : *value) field.append(c == '"' ? 2 : 1, c);
  return field + "\"";
}

std::size_t RandomRowCount(Random& random) {
  switch (random() % 16) {
    case 0:
      return random() % 2;
    case 1:
      return 500 + random() % 600;
    case 2:
    case 3:
      return 60 + random() % 100;
    default:
      return 2 + random() % 25;
  }
}

RandomTable MakeTable(const std::string& name, const std::string& prefix, std::size_t columns,
                      Random& random) {
  RandomTable table;
  table.name = name;
  std::vector<const Storage*> storages;
  for (std::size_t i = 0; i < columns; ++i) {
    const Storage& storage = Pick(random, Storages());
    storages.push_back(&storage);
    table.columns.push_back({prefix + std::to_string(i), storage.declared, storage.kind});
  }
  std::vector<unsigned> nullOneIn;
  for (std::size_t i = 0; i < columns; ++i) {
    nullOneIn.push_back(OneIn(random, 4) ? 1'000'000 : 2 + random() % 8);
  }
  // Of some columns many rows have one value, which makes groups and partners.
  std::vector<std::size_t> usual;
  for (const Storage* storage : storages) usual.push_back(random() % storage->values.size());
  const unsigned usualOneIn = 1 + random() % 4;
  // In a table of several chunks the first ones have no NULL.
  const std::size_t count = RandomRowCount(random);
  for (std::size_t row = 0; row < count; ++row) {
    auto& values = table.rows.emplace_back();
    for (std::size_t i = 0; i < columns; ++i) {
      const bool mayBeNull = count < 500 || row > count / 2;
      if (mayBeNull && OneIn(random, nullOneIn[i])) {
        values.push_back(std::nullopt);
      } else {
        values.emplace_back(OneIn(random, usualOneIn) ? storages[i]->values[usual[i]]
                                                      : Pick(random, storages[i]->values));
      }
    }
  }
  return table;
}

}  // namespace

std::string RandomTable::Schema() const {
  std::string schema;
  for (const Column& column : columns) {
    schema += (schema.empty() ? "" : ",") + column.name + ":" + column.declared;
  }
  return schema;
}

std::string RandomTable::Lines() const {
  std::string lines;
  for (const auto& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) lines += (i == 0 ? "" : ",") + Field(row[i]);
    lines += "\n";
  }
  return lines;
}

std::string RandomTable::Csv() const {
  std::string header;
  for (const Column& column : columns) header += (header.empty() ? "" : ",") + column.name;
  return header + "\n" + Lines();
}

Surroundings MakeSurroundings(Random& random) {
  Surroundings made;
  RandomTable t = MakeTable("t", "c", 10 + random() % 8, random);
  t.columns.insert(t.columns.begin(), {"id", "int4", Kind::kInteger});
  for (std::size_t row = 0; row < t.rows.size(); ++row) {
    t.rows[row].insert(t.rows[row].begin(), std::to_string(row));
  }
  made.tables.push_back(std::move(t));
  RandomTable s = MakeTable("s", "d", 4 + random() % 4, random);
  // A join of two long tables has a million rows.
  if (s.rows.size() > 40) s.rows.resize(40);
  made.tables.push_back(std::move(s));

  using Values_t = std::vector<std::string>;
  static const std::vector<std::pair<std::string, Values_t>> switches = {
      {"CaseSensitiveCompare", {"off"}}, {"Locale", {"sv_SE", "de_DE"}},
      {"IntegerAggregates", {"native"}}, {"IntegerDivideAsDouble", {"on"}},
      {"IntegerMathAsDouble", {"on"}},   {"FirstDayOfWeek", {"2", "7"}},
      {"FiscalYearStartMonth", {"4"}},   {"LengthKeepsBlanks", {"on"}},
      {"SubstringCompliance", {"on"}},   {"LongMonthNames", {"off"}},
      {"ConditionOrder", {"written"}},
  };
  for (const auto& [name, values] : switches) {
    if (OneIn(random, 6)) made.switches.emplace_back(name, Pick(random, values));
  }
  made.switches.emplace_back("Now", "2012-02-29 12:34:56.789");
  return made;
}

}  // namespace sqxer::fuzz
