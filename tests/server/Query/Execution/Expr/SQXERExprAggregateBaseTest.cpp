#include <array>

#include "AggregateTesting.h"

namespace sqxer::test {
namespace {

TEST(AggregateBinding, RefusesTypesAndColumns) {
  struct Named {
    const wchar_t* name;
    Aggregate* (*make)();
    bool numbersOnly;
  };
  const Named kinds[] = {
      {L"Sum", &MakeSum<false>, true},
      {L"Avg", &Make<Avg>, true},
      {L"AvgAll", &Make<AvgAll>, true},
      {L"Range", &Make<Range>, true},
      {L"Max", &Make<Max>, false},
      {L"Min", &Make<Min>, false},
      {L"NullIfNotUnique", &Make<NullIfNotUnique>, false},
      {L"Count", &MakeCount<true>, false},
  };
  const std::size_t blocks = MemoryGateway::BlocksInUse();
  for (const Named& kind : kinds) {
    TestRecord target({{XeNumericData, 0}});
    for (int number = XeBitData; number <= XeBoolean; ++number) {
      const auto type = static_cast<XeDataType>(number);
      TestRecord input({{type, 8}});
      const auto bind = [&] { Driven(kind.make(), input, target); };
      const bool unordered = type == XeIntervalData || type == XeObjectData;
      if (kind.numbersOnly ? FindNumericInput(type) == nullptr : unordered) {
        ExpectError(59001, {kind.name, SUXeDataTypeUtility::GetXeDataTypeName(type)}, bind);
      }
    }
    TestRecord narrow({{XeVarCharData, 8}}, false);
    ExpectError(59001, {kind.name, L"VARCHAR"}, [&] { Driven(kind.make(), narrow, target); });

    TestRecord input({{XeInt4Data}});
    Aggregate* const generic = kind.make();
    generic->GetAggregateColumns()->front() = 3;
    ExpectError(46030, {L"3", L"1"}, [&] { Driven(generic, input, target); });
    ExpectError(46030, {L"2", L"1"}, [&] { Driven(kind.make(), input, target, 2); });
  }
  TestRecord input({{XeInt4Data}}), pair({{XeInt4Data}, {XeInt4Data}}),
      triple({{XeUInt4Data}, {XeInt4Data}, {XeDoubleData}});
  ExpectError(46030, {L"2", L"2"}, [&] { Driven(Make<Range>(), input, pair, 1); });
  ExpectError(46030, {L"3", L"3"}, [&] { Driven(Make<AvgAll>(), input, triple); });
  EXPECT_EQ(MemoryGateway::BlocksInUse(), blocks) << "a failed bind leaks";
}

TEST(AggregateBinding, AnErrorCarriesTheAggregatesPlace) {
  TestRecord input({{XeDateData}}), target({{XeInt4Data}});
  Aggregate* const generic = MakeSum<false>();
  generic->SetSourcePosition(5);
  ExpectError(
      59001, {L"Sum", L"DATE"}, [&] { Driven(generic, input, target); }, 5);
}

/// The framework without an aggregate.
struct Bare : Aggregate {
  using Aggregate::Aggregate;
  using Aggregate::isDistinctProcessing_;
};

TEST(AggregateBase, OwnsItsColumns) {
  const Bare empty(nullptr, nullptr, nullptr, false, false);
  EXPECT_TRUE(empty.GetAggregateColumns()->empty());
  EXPECT_TRUE(empty.GetControlBreakColumns()->empty());
  EXPECT_TRUE(empty.GetDistinctBreakColumns()->empty());
  EXPECT_FALSE(empty.isDistinctProcessing_);
  EXPECT_FALSE(empty.IsCumulativeAggregate());

  UInt16Vector* const columns = Columns(4);
  Bare held(columns, Columns(5), Columns(6), true, true);
  EXPECT_EQ(held.GetAggregateColumns(), columns);
  EXPECT_EQ(held.GetControlBreakColumns()->front(), 5);
  EXPECT_TRUE(held.isDistinctProcessing_);
  EXPECT_TRUE(held.IsCumulativeAggregate());
  EXPECT_TRUE(held.IsDistinctHandled());
  EXPECT_EQ(held.GetSourceAggregator(), nullptr);
  EXPECT_EQ(held.GetPartialsAggregator(nullptr), nullptr);
  EXPECT_EQ(Aggregate::CloneColumnVector(nullptr), nullptr);

  ThrowingAsserts throwing;
  try {
    Bare(new UInt16Vector, nullptr, nullptr, false, false);
    ADD_FAILURE() << "no columns were accepted";
  } catch (const BrokenInvariant& stop) {
    EXPECT_STREQ(stop.what(), "aggregateColumns->size() > 0");
  }
}

TEST(AggregateBase, LeavesTheProtocolToItsSubclasses) {
  Bare bare(nullptr, nullptr, nullptr, false, false);
  TestRecord record({{XeInt4Data}});
  RExpression* replacement = nullptr;
  MetaDataInfo info;
  const std::function<void()> traps[] = {
      [&] { bare.Bind(record.stream(), replacement, info); },
      [&] { bare.Eval(record.buffer()); },
      [&] { bare.GetIthOperand(0); },
      [&] { bare.SetIthOperand(0, nullptr); },
      [&] { bare.Bind(record.layout(), replacement, info); },
      [&] { bare.SetTargetDescriptor(record.layout(), 0); },
      [&] { bare.Initialize(false); },
      [&] { bare.Compute(record.buffer(), record.size()); },
      [&] { bare.Finalize(); },
      [&] { bare.Output(record.buffer()); },
      [&] { bare.GetTargetFixedLenSize(); },
  };
  ThrowingAsserts throwing;
  for (const auto& trap : traps) {
    try {
      trap();
      ADD_FAILURE() << "trap " << &trap - traps;
    } catch (const BrokenInvariant& stop) {
      EXPECT_STREQ(stop.what(), "");
    }
  }
}

TEST(AggregateBase, PartsOfCountAddUpAndKeepTheBreaks) {
  Count count(Columns(0), Columns(1), Columns(2), true, true, true);
  const std::unique_ptr<Aggregate> source(count.GetSourceAggregator());
  const std::unique_ptr<Aggregate> partials(count.GetPartialsAggregator(Columns(7)));
  EXPECT_EQ(NodeName(*source), L"Count");
  EXPECT_EQ(NodeName(*partials), L"Sum");
  EXPECT_EQ(partials->GetAggregateColumns()->front(), 7);
  for (const auto* part : {&source, &partials}) {
    EXPECT_EQ((*part)->GetControlBreakColumns()->front(), 1);
    EXPECT_EQ((*part)->GetDistinctBreakColumns()->front(), 2);
    EXPECT_TRUE((*part)->IsCumulativeAggregate());
    EXPECT_TRUE((*part)->IsDistinctHandled());
  }
  NullIfNotUnique unique(Columns(0), Columns(1), Columns(2), true);
  const std::unique_ptr<Aggregate> part(unique.GetPartialsAggregator(Columns(7)));
  EXPECT_EQ(NodeName(*part), L"NullIfNotUnique");
  EXPECT_TRUE(part->IsCumulativeAggregate());
  EXPECT_EQ(part->GetDistinctBreakColumns()->front(), 2);
}

TEST(AggregateBase, SortKeysCoverEveryField) {
  TestRecord a({{XeInt4Data}, {XeInt4Data}}), b({{XeInt4Data}, {XeInt4Data}});
  const auto ascending = Aggregate::MakeDistinctSortKeySet(a.layout(), kAscending, false);
  const auto descending = Aggregate::MakeDistinctSortKeySet(a.layout(), kDescending, true);
  b.Set(1, int32{1});
  EXPECT_EQ(ascending->Compare(a.buffer(), b.buffer()), -1);
  EXPECT_EQ(descending->Compare(a.buffer(), b.buffer()), 1);
  a.SetNull(1);
  EXPECT_EQ(ascending->Compare(a.buffer(), b.buffer()), 1);
  EXPECT_EQ(descending->Compare(a.buffer(), b.buffer()), -1);
}

/// An extreme whose sizes are open to the test.
template <class Kind>
struct Open : Kind {
  Open() : Kind(Columns(0), nullptr, nullptr, false) {}
  using Kind::bufferSize_;
  using Kind::currentRecordDataSize_;
};

TEST(SourceSize, IsWhatTheRecordStillHolds) {
  TestRecord input({{XeVarCharData, 10}}), target({{XeVarCharData, 10}});
  auto* const open = new Open<Max>;
  Driven max(open, input, target);
  const uint32 offset = input.field(0).GetDataOffset(), nullOffset = input.field(0).GetNullOffset();
  EXPECT_EQ(open->currentRecordDataSize_, 44u);
  for (const auto& [size, expected] :
       {std::pair{offset + 100, 44u}, {offset + 12, 12u}, {1u, 0u}}) {
    max->SetSourceOffset(offset, nullOffset, size);
    EXPECT_EQ(open->currentRecordDataSize_, expected);
  }
  max->RestoreSourceOffset();
  EXPECT_EQ(open->currentRecordDataSize_, 44u);

  // A record that ends with the text's last character.
  max->SetSourceOffset(offset, nullOffset, offset + 12);
  max.RunTexts({L"ab", L"ac", L"aa"});
  EXPECT_EQ(target.GetText(0), L"ac");
}

template <class Kind>
void ExpectStopBeforeOverrun(const std::string& name) {
  TestRecord input({{XeInt4Data}}), target({{XeInt4Data}});
  auto* const open = new Open<Kind>;
  Driven aggregate(open, input, target);
  aggregate->Initialize(false);
  open->bufferSize_ = 3;
  testing::internal::CaptureStderr();
  ExpectBroken([&] { aggregate->Compute(input.buffer(), input.size()); });
  EXPECT_EQ(testing::internal::GetCapturedStderr(), name + " writing past buffer end 4 3 4\n");
}

TEST(SourceSize, StopsBeforeABufferIsOverrun) {
  ExpectStopBeforeOverrun<Max>("MAX");
  ExpectStopBeforeOverrun<Min>("MIN");
  ExpectStopBeforeOverrun<NullIfNotUnique>("NULLIFNOTUNIQUE");
}

TEST(UnalignedRecords, AreReadAndWritten) {
  XeRecordMetaData input, target;
  const auto place = [](XeRecordMetaData& layout, XeDataType type, uint32 offset) {
    layout.SetFieldCount(1);
    auto field = std::make_shared<XeFieldDescriptor>(0, type, 0, true, int16{0}, 0, L"f", L"");
    field->SetOffsets(offset, 1);
    layout.SetFieldDescriptor(0, field);
  };
  for (const XeDataType type : {XeInt4Data, XeUInt4Data, XeDoubleData, XeNumericData}) {
    place(input, type, 3);
    place(target, type, 5);
    alignas(16) std::array<uint8, 48> in{}, out{};
    for (Aggregate* generic :
         {MakeSum<false>(), MakeSum<true>(), Make<Avg>(), Make<Max>(), Make<Last>()}) {
      MetaDataInfo info;
      const auto aggregate =
          BindAggregate(std::unique_ptr<Aggregate>(generic), input, target, 0, info);
      aggregate->Initialize(false);
      aggregate->Compute(in.data(), in.size());
      aggregate->Finalize();
      out.fill(0xFF);
      aggregate->Output(out.data());
      EXPECT_EQ(out[1], 0);
      EXPECT_TRUE(std::equal(&out[5], &out[5] + aggregate->GetTargetFixedLenSize(), &in[3]));
    }
  }
}

}  // namespace
}  // namespace sqxer::test
