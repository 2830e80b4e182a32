#pragma once

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "Engine/ArrowInterface.h"
#include "Utility/ColumnBuffer.h"

namespace sqxer {

/// What a schema or an array of ours holds until it is released. Children and dictionary are
/// released with it, unless who has it moved them away.
template <class Struct>
struct ArrowHeld {
  std::vector<Struct> children;
  std::vector<Struct*> pointers;
  Struct dictionary = {};

  explicit ArrowHeld(std::size_t count) : children(count, Struct{}), pointers(count) {
    for (std::size_t i = 0; i < count; ++i) pointers[i] = &children[i];
  }
  ArrowHeld(const ArrowHeld&) = delete;
  ArrowHeld& operator=(const ArrowHeld&) = delete;
  ~ArrowHeld() {
    for (Struct& child : children) Release(child);
    Release(dictionary);
  }

 private:
  static void Release(Struct& held) {
    if (held.release != nullptr) held.release(&held);
  }
};

struct ArrowHeldSchema : ArrowHeld<ArrowSchema> {
  using ArrowHeld::ArrowHeld;
  std::string format;
  std::string name;
};

struct ArrowHeldArray : ArrowHeld<ArrowArray> {
  using ArrowHeld::ArrowHeld;
  std::array<const void*, 3> buffers = {};
  std::vector<ColumnBuffer> own;
  /// Keeps what is shared.
  std::vector<std::shared_ptr<const void>> owners;

  uint8* MakeRoom(uint64 bytes) {
    ColumnBuffer& buffer = own.emplace_back();
    buffer.Reserve(bytes > 0 ? bytes : 1);
    return buffer.GetData();
  }
};

template <class Held, class Struct>
void ReleaseArrow(Struct* released) {
  delete static_cast<Held*>(released->private_data);
  released->private_data = nullptr;
  released->release = nullptr;
}

/// Fills in a structure whose parts are complete.
inline void GiveArrowSchema(std::unique_ptr<ArrowHeldSchema> held, int64 flags, ArrowSchema* out) {
  *out = {};
  out->format = held->format.c_str();
  out->name = held->name.c_str();
  out->flags = flags;
  out->n_children = static_cast<int64>(held->children.size());
  out->children = held->pointers.data();
  out->dictionary = held->dictionary.release != nullptr ? &held->dictionary : nullptr;
  out->release = &ReleaseArrow<ArrowHeldSchema, ArrowSchema>;
  out->private_data = held.release();
}
inline void GiveArrowArray(std::unique_ptr<ArrowHeldArray> held, uint64 rows, uint64 nulls,
                           int64 buffers, ArrowArray* out) {
  *out = {};
  out->length = static_cast<int64>(rows);
  out->null_count = static_cast<int64>(nulls);
  out->n_buffers = buffers;
  out->n_children = static_cast<int64>(held->children.size());
  out->buffers = held->buffers.data();
  out->children = held->pointers.data();
  out->dictionary = held->dictionary.release != nullptr ? &held->dictionary : nullptr;
  out->release = &ReleaseArrow<ArrowHeldArray, ArrowArray>;
  out->private_data = held.release();
}

}  // namespace sqxer
