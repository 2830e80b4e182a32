#pragma once

#include <map>

#include "SQXEROpFunction.h"
#include "SQXEROpsInterval.h"
#include "Utility/ErrorMessage.h"
#include "Utility/TimeZone.h"

namespace sqxer {

/// The zones that texts have named so far: each is looked for once.
class KnownZones {
 public:
  /// A RefLongVarChar or a ByteText. Error 59063 (the text) for what names no zone.
  template <class Text>
  const TimeZone& Get(const Text& text) {
    // The room stays from row to row.
    name_.assign(text.buffer_, text.buffer_ + text.length_);
    if (recent_ != nullptr && recent_->first == name_) return *recent_->second;
    auto known = zones_.find(name_);
    if (known == zones_.end()) {
      TimeZoneRef zone = TimeZone::Find(name_);
      if (zone == nullptr) SUGThrow(ErrorMessage(59063, {name_}));
      known = zones_.emplace(name_, std::move(zone)).first;
    }
    recent_ = &*known;
    return *recent_->second;
  }

 private:
  XeString name_;
  std::map<XeString, TimeZoneRef> zones_;
  const std::pair<const XeString, TimeZoneRef>* recent_ = nullptr;
};

/// AT TIME ZONE with a zone of each row: a moment of UTC on its clocks, or what these show in UTC.
template <bool isFromUtc>
struct ZoneOfRowOp {
  using Operands = std::tuple<XeDateTime, TextOperand>;
  static constexpr const wchar_t* kName = L"AtTimeZone";
  static constexpr bool kOnBytes = true;
  template <class Text>
  XeDateTime Apply(const XeDateTime& moment, const Text& name) {
    const TimeZone& zone = zones_.Get(name);
    return isFromUtc ? zone.FromUtc(moment) : zone.ToUtc(moment);
  }

 private:
  KnownZones zones_;
};

/// Whether an interval tells how far clocks are ahead of UTC, as the values of clocks would: no
/// days, and within one.
inline bool IsDistanceOfZone(const XeInterval& distance) {
  return distance.months == 0 && distance.days == 0 &&
         std::abs(distance.microseconds) < kMicrosecondsOfDay;
}

/// The same with a distance to UTC of each row, to the millisecond. Error 59063 (the interval).
template <bool isFromUtc>
struct ZoneAtDistanceOp {
  using Operands = std::tuple<XeDateTime, XeInterval>;
  static constexpr const wchar_t* kName = L"AtTimeZone";
  static constexpr bool kOnBytes = false;
  static XeDateTime Apply(const XeDateTime& moment, const XeInterval& distance) {
    if (!IsDistanceOfZone(distance)) SUGThrow(ErrorMessage(59063, {IntervalText(distance)}));
    XeDateTime there = moment;
    there.AddMicroseconds((isFromUtc ? 1 : -1) * (distance.microseconds / 1000 * 1000));
    return there;
  }
};

}  // namespace sqxer
