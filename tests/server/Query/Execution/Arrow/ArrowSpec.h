#pragma once

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "Engine/ArrowInterface.h"
#include "Utility/XeTypes.h"

/// Arrow data by hand, whose buffers end where they say, so that the sanitizers see whoever goes
/// further.

namespace sqxer::test {

/// How many structures were made and not released.
struct Live {
  static inline int schemas = 0;
  static inline int arrays = 0;
  static inline int streams = 0;
  static int All() { return schemas + arrays + streams; }
};

/// The bytes of a buffer; nothing for one that is missing.
using Bytes = std::optional<std::string>;

template <class T>
Bytes Raw(const std::vector<T>& values) {
  return std::string(reinterpret_cast<const char*>(values.data()), values.size() * sizeof(T));
}
/// One bit a row.
inline Bytes Bits(const std::vector<bool>& bits) {
  std::string bytes((bits.size() + 7) / 8, '\0');
  for (std::size_t i = 0; i < bits.size(); ++i) {
    if (bits[i]) bytes[i / 8] = static_cast<char>(bytes[i / 8] | 1 << i % 8);
  }
  return bytes;
}

/// A column, or a part of one: what its schema and its array are to say.
struct Spec {
  std::string format;
  int64 length = 0;
  std::vector<Bytes> buffers = {};
  std::vector<Spec> children = {};
  std::vector<Spec> dictionary = {};
  int64 offset = 0;
  int64 nulls = -1;
  const char* name = "c";
  int64 flags = ARROW_FLAG_NULLABLE;
};

inline ArrowSchema MakeSchema(const Spec& spec) {
  struct Held {
    std::string format;
    std::string name;
    std::vector<ArrowSchema> children;
    std::vector<ArrowSchema*> pointers;
    std::optional<ArrowSchema> dictionary;
  };
  auto* const held = new Held{spec.format, spec.name == nullptr ? "" : spec.name, {}, {}, {}};
  for (const Spec& child : spec.children) held->children.push_back(MakeSchema(child));
  for (ArrowSchema& child : held->children) held->pointers.push_back(&child);
  if (!spec.dictionary.empty()) held->dictionary = MakeSchema(spec.dictionary[0]);
  ++Live::schemas;
  return {held->format.c_str(),
          spec.name == nullptr ? nullptr : held->name.c_str(),
          nullptr,
          spec.flags,
          static_cast<int64>(held->children.size()),
          held->pointers.data(),
          held->dictionary ? &*held->dictionary : nullptr,
          [](ArrowSchema* schema) {
            auto* const mine = static_cast<Held*>(schema->private_data);
            for (ArrowSchema& child : mine->children) child.release(&child);
            if (mine->dictionary) mine->dictionary->release(&*mine->dictionary);
            delete mine;
            --Live::schemas;
            schema->release = nullptr;
          },
          held};
}

inline ArrowArray MakeArray(const Spec& spec) {
  struct Held {
    std::vector<const void*> buffers;
    std::vector<ArrowArray> children;
    std::vector<ArrowArray*> pointers;
    std::optional<ArrowArray> dictionary;
    ~Held() {
      for (const void* buffer : buffers) ::free(const_cast<void*>(buffer));
    }
  };
  auto* const held = new Held;
  for (const Bytes& bytes : spec.buffers) {
    void* const buffer = bytes ? std::malloc(bytes->size()) : nullptr;
    if (bytes) std::memcpy(buffer, bytes->data(), bytes->size());
    held->buffers.push_back(buffer);
  }
  for (const Spec& child : spec.children) held->children.push_back(MakeArray(child));
  for (ArrowArray& child : held->children) held->pointers.push_back(&child);
  if (!spec.dictionary.empty()) held->dictionary = MakeArray(spec.dictionary[0]);
  ++Live::arrays;
  return {spec.length,
          spec.nulls,
          spec.offset,
          static_cast<int64>(held->buffers.size()),
          static_cast<int64>(held->children.size()),
          held->buffers.data(),
          held->pointers.data(),
          held->dictionary ? &*held->dictionary : nullptr,
          [](ArrowArray* array) {
            auto* const mine = static_cast<Held*>(array->private_data);
            for (ArrowArray& child : mine->children) child.release(&child);
            if (mine->dictionary) mine->dictionary->release(&*mine->dictionary);
            delete mine;
            --Live::arrays;
            array->release = nullptr;
          },
          held};
}

/// A table of some columns.
inline Spec TableOf(std::vector<Spec> columns, int64 rows) {
  Spec table{"+s", rows, {Bytes()}, std::move(columns)};
  table.nulls = 0;
  table.flags = 0;
  return table;
}

/// A stream of tables of one schema, which breaks off behind them if `error` is given.
inline ArrowArrayStream MakeStream(std::vector<Spec> tables, const char* error = nullptr) {
  struct Held {
    std::vector<Spec> tables;
    std::size_t next;
    const char* error;
  };
  ++Live::streams;
  return {[](ArrowArrayStream* stream, ArrowSchema* out) {
            *out = MakeSchema(static_cast<Held*>(stream->private_data)->tables[0]);
            return 0;
          },
          [](ArrowArrayStream* stream, ArrowArray* out) {
            auto* const mine = static_cast<Held*>(stream->private_data);
            *out = {};
            if (mine->next < mine->tables.size()) {
              *out = MakeArray(mine->tables[mine->next++]);
            } else if (mine->error != nullptr) {
              return EIO;
            }
            return 0;
          },
          [](ArrowArrayStream* stream) { return static_cast<Held*>(stream->private_data)->error; },
          [](ArrowArrayStream* stream) {
            delete static_cast<Held*>(stream->private_data);
            --Live::streams;
            stream->release = nullptr;
          },
          new Held{std::move(tables), 0, error}};
}

}  // namespace sqxer::test
