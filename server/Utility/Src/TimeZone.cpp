#include "Utility/TimeZone.h"

#include <unicode/basictz.h>
#include <unicode/strenum.h>
#include <unicode/timezone.h>

#include <algorithm>
#include <array>
#include <string>

#include "IcuStatus.h"

namespace sqxer {

namespace {

constexpr int64 kMicrosecondsPerMillisecond = 1000;

float64 MillisecondsOf(const XeDateTime& moment) {
  // Before 1970 what is left of a millisecond belongs to the one before.
  int64 count = XeDateTime::DifferenceInMicroseconds(moment, XeDateTime(1970, 1, 1));
  count = count / kMicrosecondsPerMillisecond - (count % kMicrosecondsPerMillisecond < 0 ? 1 : 0);
  return static_cast<float64>(count);
}

XeDateTime Later(XeDateTime moment, int64 milliseconds) {
  moment.AddMilliseconds(milliseconds);
  return moment;
}

/// A zone whose clocks never change.
class FixedZone final : public TimeZone {
 public:
  FixedZone(XeString name, int64 milliseconds) : name_(std::move(name)), offset_(milliseconds) {}
  const XeString& GetName() const override { return name_; }
  XeDateTime FromUtc(const XeDateTime& moment) const override { return Later(moment, offset_); }
  XeDateTime ToUtc(const XeDateTime& local) const override { return Later(local, -offset_); }

 private:
  const XeString name_;
  const int64 offset_;
};

class NamedZone final : public TimeZone {
 public:
  NamedZone(XeString name, std::unique_ptr<icu::BasicTimeZone> zone)
      : name_(std::move(name)), zone_(std::move(zone)) {}
  const XeString& GetName() const override { return name_; }
  XeDateTime FromUtc(const XeDateTime& moment) const override {
    int32_t raw = 0;
    int32_t savings = 0;
    UErrorCode status = U_ZERO_ERROR;
    zone_->getOffset(MillisecondsOf(moment), 0, raw, savings, status);
    CheckIcu(status);
    return Later(moment, int64{raw} + savings);
  }
  XeDateTime ToUtc(const XeDateTime& local) const override {
    int32_t raw = 0;
    int32_t savings = 0;
    UErrorCode status = U_ZERO_ERROR;
    zone_->getOffsetFromLocal(MillisecondsOf(local), UCAL_TZ_LOCAL_FORMER, UCAL_TZ_LOCAL_LATTER,
                              raw, savings, status);
    CheckIcu(status);
    return Later(local, -(int64{raw} + savings));
  }

 private:
  static void CheckIcu(UErrorCode status) {
    // Of the moments that dates can hold nothing else goes wrong.
    if (U_FAILURE(status)) throw std::bad_alloc();
  }

  const XeString name_;
  const std::unique_ptr<icu::BasicTimeZone> zone_;
};

/// Names that the database has not: three letters that mean different things to different people.
constexpr std::array kOtherNames = {"ACT", "AET", "AGT", "ART", "AST", "BET", "BST", "CAT", "CNT",
                                    "CST", "CTT", "EAT", "ECT", "IET", "IST", "JST", "MIT", "NET",
                                    "NST", "PLT", "PNT", "PRT", "PST", "SST", "VST"};

std::string SmallLetters(std::string_view text) {
  std::string small(text);
  for (char& c : small) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  return small;
}

/// The name as the database writes it; empty where it has none.
std::string FindName(std::string_view name) {
  const std::string wanted = SmallLetters(name);
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<icu::StringEnumeration> names(
      icu::TimeZone::createTimeZoneIDEnumeration(UCAL_ZONE_TYPE_ANY, nullptr, nullptr, status));
  if (U_FAILURE(status) || names == nullptr) throw std::bad_alloc();
  while (const char* const known = names->next(nullptr, status)) {
    if (SmallLetters(known) == wanted &&
        std::ranges::find(kOtherNames, std::string_view(known)) == kOtherNames.end()) {
      return known;
    }
  }
  // The last one of all is behind no failure.
  if (U_FAILURE(status)) throw std::bad_alloc();
  return {};
}

}  // namespace

TimeZoneRef TimeZone::AtDistance(int64 milliseconds) {
  return std::make_shared<FixedZone>(std::to_wstring(milliseconds), milliseconds);
}

TimeZoneRef TimeZone::Find(std::wstring_view name) {
  std::string ascii;
  for (const wchar_t c : name) {
    if (c <= L' ' || c >= 0x7F) return nullptr;
    ascii += static_cast<char>(c);
  }
  if (ascii.empty()) return nullptr;
  const std::string found = FindName(ascii);
  if (found.empty()) return nullptr;
  std::unique_ptr<icu::TimeZone> zone(
      icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(found)));
  auto* const basic = dynamic_cast<icu::BasicTimeZone*>(zone.get());
  // The database has it: what does not come, or comes as another one, had no memory.
  icu::UnicodeString id;
  if (basic == nullptr || basic->getID(id) != icu::UnicodeString::fromUTF8(found))
    throw std::bad_alloc();
  static_cast<void>(zone.release());
  return std::make_shared<NamedZone>(XeString(found.begin(), found.end()),
                                     std::unique_ptr<icu::BasicTimeZone>(basic));
}

}  // namespace sqxer
