#pragma once

#include <array>
#include <memory>
#include <optional>

#include "SQXERAggregateVariant.h"
#include "SQXEROpsBinning.h"
#include "Utility/RecordSpool.h"

namespace sqxer {

/// How a group is parted into bins: all of equal width, of equal numbers of rows, or along the
/// calendar.
enum class BinKind { kRegular, kEqualDepth, kDateTime };

/// The ends of the bins of equal width, both finite, lower <= upper: numbers, for dates days since
/// 1970-01-01, for times and date-times microseconds since then.
struct BinBounds {
  float64 lower, upper;
};

/// Holds the values of one group after the other and tells the bins of its rows. What it holds
/// beyond its memory lies in a temporary file: any call may raise error 59180 (folder, the system's
/// reason), after which the next group can start.
class BinCalculator : public XeGatewayObject {
 public:
  virtual ~BinCalculator() = default;

  virtual void BeginGroup() = 0;
  /// Takes in the next row's stored value, null for NULL, of which `size` bytes may be read. Error
  /// 59171 (value) for what is no day of the calendar where one is needed.
  virtual void Add(const uint8* value, uint32 size) = 0;
  /// Ends the group: it gets `bins` > 0 bins.
  virtual void EndGroup(uint32 bins) = 0;
  /// The bin of the next row in the order of Add, from 1; 0 for a row without one.
  virtual uint32 NextBin() = 0;
};

/// Equal widths between the group's least and greatest finite value, or between bounds.
class RegularBinCalculator final : public BinCalculator, private ConvertedInput<float64> {
 public:
  /// Error 59001 ("Bin", type) for a type other than numbers, days and times. `bufferBytes` and
  /// `timer`: see RecordSpool.
  RegularBinCalculator(XeDataType type, const std::optional<BinBounds>& bounds,
                       std::size_t bufferBytes, OperatorTimer& timer);
  void BeginGroup() override;
  void Add(const uint8* value, uint32 size) override;
  void EndGroup(uint32 bins) override;
  uint32 NextBin() override;

 private:
  InputConverter converter_;
  std::optional<BinBounds> bounds_;
  /// Of the values so far.
  float64 least_ = 0, greatest_ = 0;
  EqualWidthBins bins_;
  /// A number for each row, NaN for NULL: neither has a bin.
  RecordSpool spool_;
};

/// Equal numbers of rows, as nearly as equal values, which share a bin, permit.
class EqualDepthBinCalculator final : public BinCalculator {
 public:
  /// `field` has values with an order. Takes about `bufferBytes` in all, and room for a few values.
  EqualDepthBinCalculator(const XeFieldDescriptor& field, std::size_t bufferBytes,
                          OperatorTimer& timer);
  void BeginGroup() override;
  void Add(const uint8* value, uint32 size) override;
  void EndGroup(uint32 bins) override;
  uint32 NextBin() override;

 private:
  struct RowBin {
    uint32 bin;
    uint32 row;
  };

  void ReadNext();

  /// Sorts the numbers of rows by the values that stand behind them.
  std::unique_ptr<SqrtSorter> ranking_;
  std::unique_ptr<KeySet> valueKey_;
  uint32 valueOffset_;
  /// Sorts RowBins by the row.
  std::unique_ptr<SqrtSorter> inputOrder_;
  /// The first one that is not told yet.
  RowBin next_{};
  bool hasNext_ = false;
  /// All rows of the group, those with a value, and those whose bin has been told.
  uint32 rows_ = 0;
  uint32 rankedRows_ = 0;
  uint32 toldRows_ = 0;
  std::array<XeAutoBuffer<uint8, 1>, 2> records_;
};

/// Boundaries of the calendar: see CalendarBins.
class DateTimeBinCalculator final : public BinCalculator, private ConvertedInput<XeDateTime> {
 public:
  /// Error 59001 ("Bin", type) for a type other than days and times. `bufferBytes` and `timer`: see
  /// RecordSpool.
  DateTimeBinCalculator(XeDataType type, std::size_t bufferBytes, OperatorTimer& timer);
  void BeginGroup() override;
  void Add(const uint8* value, uint32 size) override;
  void EndGroup(uint32 bins) override;
  uint32 NextBin() override;

 private:
  InputConverter converter_;
  XeDateTime::UnitOfTime finest_;
  int firstDayOfWeek_;
  /// Of the values so far.
  XeDateTime first_, last_;
  std::optional<CalendarBins> bins_;
  /// A date-time for each row, that of no day for NULL.
  RecordSpool spool_;
};

}  // namespace sqxer
