#include "OrderText.h"

#include <cstring>
#include <cwchar>

#include "SQXEROpsAggregate.h"
#include "Utility/SUXeDataTypeUtility.h"
#include "Utility/XeDateTime.h"
#include "ValueText.h"

namespace sqxer::engine {
namespace {

constexpr int kWordBytes = 8;
constexpr int kNanosecondBytes = 4;

}  // namespace

OrderText::OrderText(const std::vector<PlanSortKey>& order, const XeRecordMetaData& layout) {
  const CharComparisonType_t comparison = KeyDesc::GetCharComparisonType();
  for (const PlanSortKey& key : order) {
    const XeFieldDescriptorRef field = layout.GetFieldDescriptor(key.column);
    keys_.push_back({field, KeyDesc(*field, key.order, comparison, key.nulls),
                     KeyDesc(*field, kAscending, comparison), key.nulls});
  }
}

const std::string& OrderText::Make(const uint8* record) {
  constexpr char kDigits[] = "0123456789abcdef";
  bytes_.clear();
  for (const Key& key : keys_) Append(key, record);
  digits_.resize(2 * bytes_.size());
  for (std::size_t i = 0; i < bytes_.size(); ++i) {
    const auto byte = static_cast<uint8>(bytes_[i]);
    digits_[2 * i] = kDigits[byte >> 4];
    digits_[2 * i + 1] = kDigits[byte & 15];
  }
  return digits_;
}

void OrderText::Append(const Key& key, const uint8* record) {
  if (key.key.IsPrefixExact()) return AppendWord(key.key.SortPrefix(record), kWordBytes);
  constexpr char kNullFirst = 0, kValue = 1, kNullLast = 2;
  if (IsNullField(*key.field, record)) {
    bytes_ += key.nulls == kNullsFirst ? kNullFirst : kNullLast;
    return;
  }
  bytes_ += kValue;
  const std::size_t start = bytes_.size();
  AppendValue(key, record);
  if (key.key.GetOrder() == kAscending) return;
  for (std::size_t i = start; i < bytes_.size(); ++i) bytes_[i] = static_cast<char>(~bytes_[i]);
}

void OrderText::AppendValue(const Key& key, const uint8* record) {
  const uint8* const value = record + key.field->GetDataOffset();
  const auto appendText = [&](uint32 length, const uint8* characters) {
    auto* const text = const_cast<wchar_t*>(reinterpret_cast<const wchar_t*>(characters));
    const RefLongVarBinary made = texts_.MakeKey({length, text});
    AppendBytes(made.buffer_, made.length_);
  };
  switch (key.field->GetDataType()) {
    case XeTimeData:
      AppendWord(key.ascending.SortPrefix(record), kWordBytes);
      return AppendWord(LoadValue<XeTime>(value).GetNanosecond(), kNanosecondBytes);
    case XeDateTimeData:
    case XeTimeStampData:
      AppendWord(key.ascending.SortPrefix(record), kWordBytes);
      return AppendWord(LoadValue<XeDateTime>(value).GetNanosecond(), kNanosecondBytes);
    case XeIntervalData: {
      // The sign turned, as words have it: a span has less than 74 bits.
      const auto span = static_cast<uint128>(LoadValue<XeInterval>(value).GetSpan());
      AppendWord(static_cast<uint64>(span >> 64) ^ (uint64{1} << 63), kWordBytes);
      return AppendWord(static_cast<uint64>(span), kWordBytes);
    }
    case XeCharData: {
      const auto* const characters = reinterpret_cast<const wchar_t*>(value);
      return appendText(static_cast<uint32>(wcsnlen(characters, key.field->GetLength())), value);
    }
    case XeVarCharData:
    case XeLongVarCharData:
      return appendText(LoadValue<uint32>(value), value + kLongVarPrefix);
    case XeBinaryData:
      return AppendBytes(value, key.field->GetLength());
    case XeVarBinaryData:
    case XeLongVarBinaryData:
      return AppendBytes(value + kLongVarPrefix, LoadValue<uint32>(value));
    default:
      return AppendNumber(LoadValue<VelmarNumber>(value));
  }
}

void OrderText::AppendWord(uint64 word, int bytes) {
  for (int i = bytes - 1; i >= 0; --i) bytes_ += static_cast<char>(word >> (8 * i) & 0xFF);
}

void OrderText::AppendNumber(const VelmarNumber& number) {
  constexpr char kNegative = 0, kZero = 1, kPositive = 2;
  // Magnitudes lie between 1e-128 and 1e128.
  constexpr int kExponentBias = 0x4000;
  __extension__ typedef unsigned __int128 Coefficient;
  if (number.isZero()) {
    bytes_ += kZero;
    return;
  }
  bytes_ += number.isNegative() ? kNegative : kPositive;
  const std::size_t start = bytes_.size();
  const VelmarNumber::Parts parts = VelmarNumber::absolute(number).GetParts();
  std::string digits;
  auto rest = static_cast<Coefficient>(static_cast<uint64>(parts.high)) << 64 | parts.low;
  for (; rest != 0; rest /= 10) {
    digits.insert(digits.begin(), static_cast<char>('0' + static_cast<int>(rest % 10)));
  }
  // As 0.digits times ten to a power.
  AppendWord(static_cast<uint64>(parts.exponent + static_cast<int>(digits.size()) + kExponentBias),
             2);
  bytes_ += digits;
  bytes_ += '\0';
  if (!number.isNegative()) return;
  for (std::size_t i = start; i < bytes_.size(); ++i) bytes_[i] = static_cast<char>(~bytes_[i]);
}

void OrderText::AppendBytes(const uint8* bytes, std::size_t count) {
  // A zero byte is followed by one that is greater than that behind the end.
  for (std::size_t i = 0; i < count; ++i) {
    bytes_ += static_cast<char>(bytes[i]);
    if (bytes[i] == 0) bytes_ += '\xFF';
  }
  bytes_.append(2, '\0');
}

}  // namespace sqxer::engine
