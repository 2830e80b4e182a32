#include "RecordWriter.h"

namespace sqxer::bench {
namespace {

using std::chrono::sys_days;

constexpr ColumnSpec kColumns[] = {
    {"l_id", "int4", ColumnKind::kInt, false},
    {"l_partkey", "int4", ColumnKind::kInt, true},
    {"l_suppkey", "int4", ColumnKind::kInt, true},
    {"l_linenumber", "int4", ColumnKind::kInt, false},
    {"l_quantity", "int4", ColumnKind::kInt, true},
    {"l_price", "double", ColumnKind::kDouble, true},
    {"l_discount", "double", ColumnKind::kDouble, true},
    {"l_tax", "double", ColumnKind::kDouble, false},
    {"l_amount", "numeric(15,2)", ColumnKind::kNumeric, true},
    {"l_rebate", "numeric(15,2)", ColumnKind::kNumeric, true},
    {"l_duty", "numeric(15,2)", ColumnKind::kNumeric, false},
    {"l_shipdate", "date", ColumnKind::kDate, true},
    {"l_receiptdate", "date", ColumnKind::kDate, true},
    {"l_returnflag", "char(1)", ColumnKind::kText, false},
    {"l_linestatus", "char(1)", ColumnKind::kText, false},
    {"l_region", "varchar(12)", ColumnKind::kText, true},
    {"l_comment", "varchar(44)", ColumnKind::kText, true},
};

constexpr uint64_t kParts = 1'000'000;
constexpr uint64_t kSuppliers = 1'000;
constexpr std::size_t kCommentLength = 44;

constexpr const char* kRegions[] = {"AFRICA", "AMERICA", "ASIA", "EUROPE", "MIDDLE EAST"};
constexpr const char* kWords[] = {
    "furiously", "carefully", "quickly",  "blithely", "slyly",   "final",  "regular", "express",
    "special",   "pending",   "ironic",   "bold",     "even",    "silent", "unusual", "packages",
    "deposits",  "requests",  "accounts", "theories", "pinto",   "beans",  "foxes",   "ideas",
    "platelets", "dugouts",   "sleep",    "wake",     "haggle",  "nag",    "cajole",  "detect",
    "along",     "among",     "above",    "against",  "instead", "after",  "the",     "of",
};

std::string MakeComment(Random& random) {
  std::string comment = random.Pick(kWords);
  const std::size_t length = random.Between(10, kCommentLength);
  while (true) {
    const std::string word = random.Pick(kWords);
    if (comment.size() + 1 + word.size() > length) return comment;
    comment += ' ';
    comment += word;
  }
}

struct Order {
  sys_days day;
  const char* region = nullptr;
  uint64_t lines = 0;
};

Order MakeOrder(Random& random) {
  using namespace std::chrono;
  constexpr sys_days kFirstDay = 1992y / January / 1;
  constexpr uint64_t kDays = 2406;
  return {kFirstDay + days(random.Between(0, kDays - 1)), random.Pick(kRegions),
          random.Between(1, 7)};
}

void AddLine(RecordWriter& record, Random& random, uint64_t id, uint64_t number,
             const Order& order) {
  using namespace std::chrono;
  constexpr sys_days kToday = 1995y / June / 17;
  const uint64_t part = random.Between(1, kParts);
  const uint64_t quantity = random.Between(1, 50);
  const uint64_t cents = quantity * (90000 + part / 10 % 20001 + 100 * (part % 1000));
  const uint64_t discount = random.Between(0, 10);
  const uint64_t tax = random.Between(0, 8);
  const sys_days shipped = order.day + days(random.Between(1, 121));
  const sys_days received = shipped + days(random.Between(1, 30));
  record.Add("{}", id);
  record.Add("{}", part);
  record.Add("{}", random.Between(1, kSuppliers));
  record.Add("{}", number);
  record.Add("{}", quantity);
  record.AddCents(cents);
  record.AddCents(discount);
  record.AddCents(tax);
  record.AddCents(cents);
  record.AddCents(discount);
  record.AddCents(tax);
  record.AddDay(shipped);
  record.AddDay(received);
  record.Add("{}", received > kToday ? 'N' : random.Chance(50) ? 'R' : 'A');
  record.Add("{}", shipped > kToday ? 'O' : 'F');
  record.Add("{}", order.region);
  record.Add("{}", MakeComment(random));
  record.EndRecord();
}

void WriteLines(uint64_t rows, const std::string& path) {
  Random random(11);
  RecordWriter record(kColumns, random, path);
  Order order;
  uint64_t number = 0;
  for (uint64_t id = 1; id <= rows; ++id) {
    if (number == order.lines) {
      order = MakeOrder(random);
      number = 0;
    }
    AddLine(record, random, id, ++number, order);
  }
  record.Close();
}

}  // namespace

const TableSpec kLines = {"lines", kColumns, &WriteLines};

}  // namespace sqxer::bench
