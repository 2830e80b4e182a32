#pragma once

#include <memory>
#include <source_location>

#include "Utility/XeMemory.h"
#include "Utility/XeTypes.h"

namespace sqxer {

struct GatewayFree {
  void operator()(uint8* block) const noexcept { MemoryGateway::Free(block); }
};

/// Bytes from the memory gateway, aligned for every fundamental type.
using GatewayBlock = std::unique_ptr<uint8[], GatewayFree>;

inline GatewayBlock AllocateBlock(std::size_t bytes,
                                  std::source_location where = std::source_location::current()) {
  return GatewayBlock(static_cast<uint8*>(MemoryGateway::Allocate(bytes, where)));
}

}  // namespace sqxer
