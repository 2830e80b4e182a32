#pragma once

#include <memory>
#include <string_view>

#include "Utility/Export.h"
#include "Utility/XeDateTime.h"
#include "Utility/XeTypes.h"

namespace sqxer {

class TimeZone;
using TimeZoneRef = std::shared_ptr<const TimeZone>;

/// A zone of the tz database, which tells its clocks from UTC. It never changes, and any thread may
/// ask it.
class XEUTILITY_API TimeZone {
 public:
  /// By its name (`Europe/Berlin`), upper and lower case alike. Null where there is no such zone.
  static TimeZoneRef Find(std::wstring_view name);
  /// The zone whose clocks are always ahead of UTC by that much.
  static TimeZoneRef AtDistance(int64 milliseconds);

  virtual ~TimeZone() = default;
  /// As the database writes it; one of its own for each distance.
  virtual const XeString& GetName() const = 0;
  /// What the zone's clocks show at a moment of UTC. Error 59171 beyond the calendar, here and
  /// below.
  virtual XeDateTime FromUtc(const XeDateTime& moment) const = 0;
  /// The moment at which they show it. A time that they leave out is the one that they would show
  /// without having been put forward; of two the second one.
  virtual XeDateTime ToUtc(const XeDateTime& local) const = 0;
};

}  // namespace sqxer
