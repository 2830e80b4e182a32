#include "Engine/Reference.h"

#include "FunctionReference.h"
#include "FunctionTable.h"
#include "NearNames.h"
#include "ResultImpl.h"
#include "Utility/SUSystemConfig.h"

namespace sqxer::engine {
namespace {

FunctionDescription::Kind DescribeKind(FunctionRow::Kind kind) {
  using From = FunctionRow::Kind;
  using To = FunctionDescription::Kind;
  switch (kind) {
    case From::kOperator:
    case From::kForm:
      return To::kOperator;
    case From::kAggregate:
      return To::kAggregate;
    case From::kWindow:
      return To::kWindow;
    case From::kFunction:
    case From::kReader:
      break;
  }
  return To::kFunction;
}

}  // namespace

std::vector<FunctionDescription> ListFunctions() {
  std::vector<FunctionDescription> functions;
  for (const FunctionRow& row : FunctionTable()) {
    functions.push_back({.kind = DescribeKind(row.kind),
                         .name = row.name,
                         .form = row.form,
                         .description = row.description,
                         .arguments = row.arguments,
                         .result = row.result,
                         .nulls = row.nulls,
                         .example = row.example,
                         .exampleResult = row.exampleResult});
  }
  return functions;
}

std::vector<SwitchDescription> ListSwitches() {
  std::vector<SwitchDescription> switches;
  for (const SUSystemConfig::Switch& one : SUSystemConfig::Switches()) {
    switches.push_back({.name = one.name,
                        .defaultValue = one.defaultText,
                        .values = one.values,
                        .description = one.description});
  }
  return switches;
}

std::vector<SqlPage> DescribeSql() {
  std::vector<SqlPage> pages;
  for (ReferencePage& page : MakeReference()) {
    pages.push_back({page.name, page.title, std::move(page.text)});
  }
  return pages;
}

std::string DescribeSql(std::string_view name) {
  return WithErrors({}, [&] {
    for (ReferencePage& page : MakeReference()) {
      if (page.name == name) return std::move(page.text);
    }
    std::string text = DescribeFunction(name);
    if (text.empty()) ThrowUnknownFunction(name, ErrorMessage::kNoPosition);
    return text;
  });
}

std::string ListSqlForms() { return ListForms(); }

std::vector<std::string> FindNearNames(std::string_view name,
                                       const std::vector<std::string>& names) {
  const std::vector<std::string_view> views(names.begin(), names.end());
  const std::vector<std::string_view> near = sqxer::FindNearNames(name, views);
  return {near.begin(), near.end()};
}

const char* GetVersion() noexcept { return SQXER_VERSION; }

}  // namespace sqxer::engine
