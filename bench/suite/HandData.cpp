#include "HandData.h"

#include <chrono>

#include "Tables.h"

namespace sqxer::bench {
namespace {

int64_t ReadCents(std::string_view text) {
  const std::size_t point = text.find('.');
  return ReadNumber<int64_t>(text.substr(0, point)) * 100 +
         ReadNumber<int64_t>(text.substr(point + 1));
}

int32_t ReadDay(std::string_view text) {
  const std::chrono::year_month_day date(std::chrono::year(ReadNumber<int>(text)),
                                         std::chrono::month(ReadNumber<unsigned>(text.substr(5))),
                                         std::chrono::day(ReadNumber<unsigned>(text.substr(8))));
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

HandLines::HandLines(const std::string& folder) {
  ReadTable(kLines, folder, [this](const std::vector<std::string_view>& fields) {
    const std::string_view* field = fields.data();
    ++count;
    id.push_back(ReadNumber<int32_t>(*field++));
    Append(part, *field++, &ReadNumber<int32_t>);
    Append(supplier, *field++, &ReadNumber<int32_t>);
    lineNumber.push_back(ReadNumber<int32_t>(*field++));
    Append(quantity, *field++, &ReadNumber<int32_t>);
    Append(price, *field++, &ReadNumber<double>);
    Append(discount, *field++, &ReadNumber<double>);
    tax.push_back(ReadNumber<double>(*field++));
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

HandSales::HandSales(const std::string& folder) {
  ReadTable(kSales, folder, [this](const std::vector<std::string_view>& fields) {
    const std::string_view* field = fields.data();
    ++count;
    id.push_back(ReadNumber<int32_t>(*field++));
    Append(customer, *field++, &ReadNumber<int32_t>);
    product.push_back(ReadNumber<int32_t>(*field++));
    Append(quantity, *field++, &ReadNumber<int32_t>);
    Append(price, *field++, &ReadNumber<double>);
  });
  ReadTable(kCustomers, folder, [this](const std::vector<std::string_view>& fields) {
    customerKey.push_back(ReadNumber<int32_t>(fields[0]));
    Append(segment, fields[2]);
    Append(customerRegion, fields[3]);
    Append(balance, fields[4], &ReadNumber<double>);
  });
  ReadTable(kProducts, folder, [this](const std::vector<std::string_view>& fields) {
    productKey.push_back(ReadNumber<int32_t>(fields[0]));
    Append(category, fields[2]);
    weight.push_back(ReadNumber<int32_t>(fields[3]));
  });
}

}  // namespace sqxer::bench
