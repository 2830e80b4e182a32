#pragma once

#include "VectorBuilder.h"

namespace sqxer {

/// The builders of bits, booleans, integers and floating-point numbers; of decimals; of days, times
/// and date-times; of intervals; of texts. VectorBuilder::Make chooses among them.
std::unique_ptr<VectorBuilder> MakeNumberBuilder(XeDataType type,
                                                 const VectorBuilder::Options& options);
std::unique_ptr<VectorBuilder> MakeDecimalBuilder(const VectorBuilder::Options& options);
std::unique_ptr<VectorBuilder> MakeDateTimeBuilder(XeDataType type,
                                                   const VectorBuilder::Options& options);
std::unique_ptr<VectorBuilder> MakeIntervalBuilder(const VectorBuilder::Options& options);
/// `most`: characters that a text may have.
std::unique_ptr<VectorBuilder> MakeTextBuilder(uint32 most, const VectorBuilder::Options& options);

}  // namespace sqxer
