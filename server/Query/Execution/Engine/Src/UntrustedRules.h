#pragma once

#include <string>

#include "Utility/SUSystemConfig.h"

namespace sqxer {

/// What the statements of a session may do whose texts come from people that nobody knows: read the
/// regular files of one folder, within limits that they cannot raise, and write nothing.
namespace untrusted {

/// Limits that suit such statements, in the place of those that are more generous.
SUSystemConfig Tighten(SUSystemConfig switches);

/// Error 57190 (path) for a path out of the folder, whatever its symbolic links point to, or with
/// "..", and for what is no regular file. Whether there is a file out there is not told.
void CheckRead(const std::string& path, const std::string& folder);

/// Error 57192 (switch) where limits would be wider than those of `most`, or files would be written
/// elsewhere.
void CheckSwitches(const SUSystemConfig& wanted, const SUSystemConfig& most);

}  // namespace untrusted
}  // namespace sqxer
