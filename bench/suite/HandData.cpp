#include "HandData.h"

#include <charconv>
#include <chrono>

#include "OrderLines.h"

namespace sqxer::bench {
namespace {

template <class Number>
Number Read(std::string_view text) {
  Number number{};
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

int64_t ReadCents(std::string_view text) {
  const std::size_t point = text.find('.');
  return Read<int64_t>(text.substr(0, point)) * 100 + Read<int64_t>(text.substr(point + 1));
}

int32_t ReadDay(std::string_view text) {
  const std::chrono::year_month_day date(std::chrono::year(Read<int>(text)),
                                         std::chrono::month(Read<unsigned>(text.substr(5))),
                                         std::chrono::day(Read<unsigned>(text.substr(8))));
  return std::chrono::sys_days(date).time_since_epoch().count();
}

template <class T, class ReadValue>
void Append(HandColumn<T>& column, std::string_view text, ReadValue read) {
  column.nulls.push_back(text.empty());
  column.values.push_back(text.empty() ? T() : read(text));
}

void Append(HandTexts& column, std::string_view text) {
  column.nulls.push_back(text.empty());
  column.characters += text;
  column.offsets.push_back(column.characters.size());
}

}  // namespace

HandLines::HandLines(const std::string& path) {
  ReadOrderLines(path, [this](const std::vector<std::string_view>& fields) {
    const std::string_view* field = fields.data();
    ++count;
    id.push_back(Read<int32_t>(*field++));
    Append(part, *field++, &Read<int32_t>);
    Append(supplier, *field++, &Read<int32_t>);
    lineNumber.push_back(Read<int32_t>(*field++));
    Append(quantity, *field++, &Read<int32_t>);
    Append(price, *field++, &Read<double>);
    Append(discount, *field++, &Read<double>);
    tax.push_back(Read<double>(*field++));
    Append(amount, *field++, &ReadCents);
    Append(rebate, *field++, &ReadCents);
    duty.push_back(ReadCents(*field++));
    Append(shipped, *field++, &ReadDay);
    Append(received, *field++, &ReadDay);
    returnFlag.push_back((*field++)[0]);
    lineStatus.push_back((*field++)[0]);
    Append(region, *field++);
    Append(comment, *field++);
  });
}

}  // namespace sqxer::bench
