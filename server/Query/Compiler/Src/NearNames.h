#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Utility/BaseStringUtil.h"

namespace sqxer {

/// Of some names those that a person may have meant by another one: the ones that the fewest
/// letters make different, if these are few; letter case counts. At most three, each once, in their
/// order.
std::vector<std::string_view> FindNearNames(std::string_view name,
                                            std::span<const std::string_view> names);

/// The same as advice, `did you mean "region" or "reason"?`, letter case ignored; nothing where no
/// name is near.
XeString AdviseNames(const XeString& name, const std::vector<XeString>& names);

}  // namespace sqxer
