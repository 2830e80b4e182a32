#pragma once

#include <algorithm>
#include <type_traits>

#include "SQXERTypedVariant.h"
#include "Utility/VelmarNumber.h"
#include "Utility/XeDateTime.h"
#include "Utility/XeInterval.h"

namespace sqxer {

/// Room for a value of any type.
struct alignas(16) AnyValue {
  uint8 bytes[std::max(
      {sizeof(VelmarNumber), sizeof(XeDateTime), sizeof(XeInterval), sizeof(RefLongVarChar)})];
};

/// What `choose` gives for the C++ type of a data type's values, or for AnyValue when such values
/// have no equality.
template <class Choose>
auto ChooseByEquality(XeDataType type, Choose choose) {
  auto chosen = choose(std::type_identity<AnyValue>{});
  const auto offer = [&]<class... T>(std::type_identity<T>... value) {
    ((type == kTypeOfValue<T> ? static_cast<void>(chosen = choose(value)) : static_cast<void>(0)),
     ...);
  };
  offer(std::type_identity<wchar_t*>{}, std::type_identity<RefLongVarChar>{},
        std::type_identity<int32>{}, std::type_identity<uint32>{}, std::type_identity<float64>{},
        std::type_identity<VelmarNumber>{}, std::type_identity<XeDate>{},
        std::type_identity<XeTime>{}, std::type_identity<XeDateTime>{},
        std::type_identity<XeInterval>{}, std::type_identity<uint8>{});
  return chosen;
}

}  // namespace sqxer
