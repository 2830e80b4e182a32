#pragma once

#include "ArrowHeld.h"
#include "Utility/ColumnVector.h"

namespace sqxer {

/// Whether texts that stand side by side may take more bytes than offsets of 32 bits count.
bool MayBeLargeUtf8(const ColumnVector& texts);
/// Puts offsets and bytes of texts into the second and the third buffer of an array: shared where
/// they are ASCII with offsets of that width, and NULLs empty where they are made. Error 57221
/// (column) for more than 2 GiB where they are not `large`.
void WriteUtf8(const ColumnVector& texts, bool large, const XeString& column, ArrowHeldArray& held);

}  // namespace sqxer
