// The sum of price times quantity per region, over the rows whose quantity exceeds 5: the whole job
// of an engine that embeds the expression library, with record buffers of its own.
#include <cstring>
#include <iostream>
#include <map>
#include <memory>

#include "SQXERExprAggregate.h"
#include "SQXERExprArithmetic.h"
#include "SQXERExprConstant.h"
#include "SQXERExprExtract.h"
#include "SQXERExprLogical.h"
#include "Utility/BaseStringUtil.h"

using namespace sqxer;

namespace {

struct Order {
  const char* region;
  double price;
  int quantity;
};
constexpr Order kOrders[] = {
    {"north", 2.50, 4}, {"north", 3.00, 10}, {"south", 1.25, 8},
    {"south", 9.99, 1}, {"north", 0.50, 20}, {"west", 7.00, 5},
};

/// A record layout with the buffer of its current record.
struct Record {
  XeRecordMetaData layout;
  alignas(16) uint8 bytes[128] = {};

  template <class T>
  T& Field(int position) {
    return *reinterpret_cast<T*>(bytes + layout.GetFieldDescriptor(position)->GetDataOffset());
  }
  uint8& Null(int position) { return bytes[layout.GetFieldDescriptor(position)->GetNullOffset()]; }
};

/// A Sum over the only field of `input` that writes the only field of `output`.
std::unique_ptr<Aggregate> NewSum(Record& input, Record& output) {
  Sum generic(new UInt16Vector{0}, nullptr, nullptr, false, false);
  RExpression* typed = nullptr;
  MetaDataInfo info;
  generic.Bind(input.layout, typed, info);
  std::unique_ptr<Aggregate> sum(static_cast<Aggregate*>(typed));
  sum->SetTargetDescriptor(output.layout, 0);
  sum->Initialize(false);
  return sum;
}

}  // namespace

int main() try {
  Record row;
  row.layout.AddField(XeDoubleData, 8, false, L"price");
  row.layout.AddField(XeInt4Data, 4, false, L"quantity");
  row.layout.GenerateAlignedFieldOffset();
  XeAListStream stream(&row.layout, row.bytes);

  MetaDataInfo info;
  auto filter = BindTree(
      std::make_unique<GT>(new Extract(XeString(L"quantity"), false), new ConstantInt32(5)),
      &stream, info);
  auto amount = BindTree(std::make_unique<Multiply>(new Extract(XeString(L"price"), false),
                                                    new Extract(XeString(L"quantity"), false)),
                         &stream, info);
  std::cout << "filter\n"
            << BaseStringUtil::StringToUtf8(DescribeTree(*filter)) << "amount\n"
            << BaseStringUtil::StringToUtf8(DescribeTree(*amount));

  Record input;
  input.layout.AddField(XeDoubleData, 8, true, L"amount");
  input.layout.GenerateAlignedFieldOffset();
  Record output;
  output.layout.AddField(XeDoubleData, 8, true, L"sum");
  output.layout.GenerateAlignedFieldOffset();

  std::map<std::string, std::unique_ptr<Aggregate>> groups;
  for (const Order& order : kOrders) {
    row.Field<double>(0) = order.price;
    row.Field<int>(1) = order.quantity;

    uint8 passes = 0;
    if (filter->Eval(&passes) != kTrue || passes == 0) continue;
    input.Null(0) = amount->Eval(&input.Field<double>(0)) == kUnknown;
    std::unique_ptr<Aggregate>& sum = groups[order.region];
    if (!sum) sum = NewSum(input, output);
    sum->Compute(input.bytes, input.layout.GetBinaryRecordSize());
  }
  for (auto& [region, sum] : groups) {
    sum->Finalize();
    sum->Output(output.bytes);
    std::cout << region << ' ' << output.Field<double>(0) << '\n';
  }
  return 0;
} catch (const ErrorMessage& error) {
  std::cerr << "error " << error.GetCode() << ": " << error.what() << '\n';
  return 1;
}
