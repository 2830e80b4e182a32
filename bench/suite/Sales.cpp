#include "RecordWriter.h"

namespace sqxer::bench {
namespace {

constexpr uint64_t kCustomerCount = 100'000;
constexpr uint64_t kProductCount = 1'000;

constexpr ColumnSpec kSalesColumns[] = {
    {"s_id", "int4", ColumnKind::kInt, false},
    {"s_custkey", "int4", ColumnKind::kInt, true},
    {"s_prodkey", "int4", ColumnKind::kInt, false},
    {"s_quantity", "int4", ColumnKind::kInt, true},
    {"s_price", "double", ColumnKind::kDouble, true},
};
constexpr ColumnSpec kCustomerColumns[] = {
    {"c_custkey", "int4", ColumnKind::kInt, false},
    {"c_name", "varchar(20)", ColumnKind::kText, false},
    {"c_segment", "varchar(12)", ColumnKind::kText, true},
    {"c_region", "varchar(12)", ColumnKind::kText, false},
    {"c_balance", "double", ColumnKind::kDouble, true},
};
constexpr ColumnSpec kProductColumns[] = {
    {"p_prodkey", "int4", ColumnKind::kInt, false},
    {"p_name", "varchar(20)", ColumnKind::kText, false},
    {"p_category", "varchar(12)", ColumnKind::kText, true},
    {"p_weight", "int4", ColumnKind::kInt, false},
};

constexpr const char* kSegments[] = {"AUTOMOBILE", "BUILDING", "FURNITURE", "HOUSEHOLD",
                                     "MACHINERY"};
constexpr const char* kCustomerRegions[] = {"AFRICA", "AMERICA", "ASIA", "EUROPE", "MIDDLE EAST"};
constexpr const char* kCategories[] = {"books", "clothes", "food",  "garden",
                                       "music", "sports",  "tools", "toys"};

void WriteSales(uint64_t rows, const std::string& path) {
  Random random(12);
  RecordWriter record(kSalesColumns, random, path);
  for (uint64_t id = 1; id <= rows; ++id) {
    record.Add("{}", id);
    record.Add("{}", random.Between(1, kCustomerCount));
    record.Add("{}", random.Between(1, kProductCount));
    record.Add("{}", random.Between(1, 50));
    record.AddCents(random.Between(100, 1'000'000));
    record.EndRecord();
  }
  record.Close();
}

void WriteCustomers(uint64_t, const std::string& path) {
  Random random(13);
  RecordWriter record(kCustomerColumns, random, path);
  for (uint64_t key = 1; key <= kCustomerCount; ++key) {
    record.Add("{}", key);
    record.Add("customer {:06}", key);
    record.Add("{}", random.Pick(kSegments));
    record.Add("{}", random.Pick(kCustomerRegions));
    record.AddCents(random.Between(0, 999'999));
    record.EndRecord();
  }
  record.Close();
}

void WriteProducts(uint64_t, const std::string& path) {
  Random random(14);
  RecordWriter record(kProductColumns, random, path);
  for (uint64_t key = 1; key <= kProductCount; ++key) {
    record.Add("{}", key);
    record.Add("product {:04}", key);
    record.Add("{}", random.Pick(kCategories));
    record.Add("{}", random.Between(1, 1000));
    record.EndRecord();
  }
  record.Close();
}

}  // namespace

const TableSpec kSales = {"sales", kSalesColumns, &WriteSales};
const TableSpec kCustomers = {"customers", kCustomerColumns, &WriteCustomers};
const TableSpec kProducts = {"products", kProductColumns, &WriteProducts};

}  // namespace sqxer::bench
