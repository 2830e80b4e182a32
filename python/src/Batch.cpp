#include "Batch.h"

#include <cerrno>
#include <cstring>
#include <string_view>

#include "Capsules.h"

namespace sqxer::python {
namespace {

nb::object CopyOf(const void* bytes, int64_t size) {
  if (bytes == nullptr) return nb::none();
  return nb::bytes(static_cast<const char*>(bytes), static_cast<std::size_t>(size));
}

/// Bits of a value of a format that the engine writes; 0 for texts.
int64_t CountBits(std::string_view format) {
  if (format == "b") return 1;
  if (format == "c" || format == "C") return 8;
  if (format == "s" || format == "S") return 16;
  if (format == "i" || format == "I" || format == "f" || format == "tdD") return 32;
  if (format.starts_with("d:")) return 128;
  if (format == "u" || format == "U") return 0;
  return 64;
}

nb::tuple DescribeColumn(const ArrowSchema& schema, const ArrowArray& array) {
  const std::string_view format = schema.format;
  const int64_t end = array.offset + array.length;
  nb::list buffers;
  buffers.append(CopyOf(array.buffers[0], (end + 7) / 8));
  const int64_t bits = CountBits(format);
  if (bits != 0) {
    buffers.append(CopyOf(array.buffers[1], (end * bits + 7) / 8));
  } else {
    const bool isLarge = format == "U";
    const auto* const offsets = static_cast<const uint8_t*>(array.buffers[1]);
    int64_t bytes = 0;
    if (offsets != nullptr) {
      bytes = isLarge ? reinterpret_cast<const int64_t*>(offsets)[end]
                      : reinterpret_cast<const int32_t*>(offsets)[end];
    }
    buffers.append(CopyOf(offsets, (end + 1) * (isLarge ? 8 : 4)));
    buffers.append(CopyOf(array.buffers[2], bytes));
  }
  nb::object dictionary = nb::none();
  if (schema.dictionary != nullptr)
    dictionary = DescribeColumn(*schema.dictionary, *array.dictionary);
  return nb::make_tuple(schema.format, array.null_count, array.offset, array.length, buffers,
                        dictionary);
}

/// What is made of Python's columns: the arrays of a struct, and the objects that they show.
struct StreamColumns {
  std::vector<PythonColumn> columns;
  std::vector<Py_buffer> views;
  int64_t rows;
  bool isGiven = false;

  ~StreamColumns() {
    const nb::gil_scoped_acquire gil;
    for (Py_buffer& view : views) PyBuffer_Release(&view);
    columns.clear();
  }
};

struct ArrayState {
  std::shared_ptr<StreamColumns> keeper;
  std::vector<const void*> buffers;
  std::vector<ArrowArray> children;
  std::vector<ArrowArray*> pointers;
};

template <class Struct, class State>
void ReleaseChildren(Struct* released) {
  auto* const state = static_cast<State*>(released->private_data);
  for (Struct& child : state->children) {
    if (child.release != nullptr) child.release(&child);
  }
  delete state;
  released->release = nullptr;
}

struct SchemaState {
  std::string name;
  std::string format;
  std::vector<ArrowSchema> children;
  std::vector<ArrowSchema*> pointers;
};

void FillSchema(ArrowSchema* out, std::string name, std::string format,
                std::vector<ArrowSchema> children) {
  auto state = std::make_unique<SchemaState>(
      SchemaState{std::move(name), std::move(format), std::move(children), {}});
  for (ArrowSchema& child : state->children) state->pointers.push_back(&child);
  *out = {};
  out->format = state->format.c_str();
  out->name = state->name.c_str();
  out->flags = ARROW_FLAG_NULLABLE;
  out->n_children = static_cast<int64_t>(state->children.size());
  out->children = state->pointers.data();
  out->release = &ReleaseChildren<ArrowSchema, SchemaState>;
  out->private_data = state.release();
}

void FillArray(ArrowArray* out, std::unique_ptr<ArrayState> state, int64_t rows, int64_t nulls) {
  for (ArrowArray& child : state->children) state->pointers.push_back(&child);
  *out = {};
  out->length = rows;
  out->null_count = nulls;
  out->n_buffers = static_cast<int64_t>(state->buffers.size());
  out->buffers = state->buffers.data();
  out->n_children = static_cast<int64_t>(state->children.size());
  out->children = state->pointers.data();
  out->release = &ReleaseChildren<ArrowArray, ArrayState>;
  out->private_data = state.release();
}

std::shared_ptr<StreamColumns>& ColumnsOf(ArrowArrayStream* stream) {
  return *static_cast<std::shared_ptr<StreamColumns>*>(stream->private_data);
}

int GetSchema(ArrowArrayStream* stream, ArrowSchema* out) {
  try {
    std::vector<ArrowSchema> children;
    for (const PythonColumn& column : ColumnsOf(stream)->columns) {
      FillSchema(&children.emplace_back(), column.name, column.format, {});
    }
    FillSchema(out, "", "+s", std::move(children));
    return 0;
  } catch (const std::bad_alloc&) {
    return ENOMEM;
  }
}

int GetNext(ArrowArrayStream* stream, ArrowArray* out) {
  try {
    const std::shared_ptr<StreamColumns>& columns = ColumnsOf(stream);
    *out = {};
    if (std::exchange(columns->isGiven, true)) return 0;
    auto rows = std::make_unique<ArrayState>();
    rows->buffers = {nullptr};
    auto view = columns->views.begin();
    for (const PythonColumn& column : columns->columns) {
      auto state = std::make_unique<ArrayState>();
      state->keeper = columns;
      for (const nb::object& buffer : column.buffers) {
        state->buffers.push_back(buffer.is_none() ? nullptr : (view++)->buf);
      }
      FillArray(&rows->children.emplace_back(), std::move(state), column.length, column.nullCount);
    }
    FillArray(out, std::move(rows), columns->rows, 0);
    return 0;
  } catch (const std::bad_alloc&) {
    return ENOMEM;
  }
}

/// A struct like `whole`, with children of its own, which others may move away, all of which keep
/// the batch.
template <class Struct>
void Share(const std::shared_ptr<const void>& held, const Struct& whole, Struct* out) {
  struct State {
    std::shared_ptr<const void> held;
    std::vector<Struct> children;
    std::vector<Struct*> pointers;
    Struct dictionary = {};
  };
  auto state = std::make_unique<State>();
  state->held = held;
  state->children.resize(static_cast<std::size_t>(whole.n_children));
  *out = whole;
  for (std::size_t i = 0; i < state->children.size(); ++i) {
    Share(held, *whole.children[i], &state->children[i]);
    state->pointers.push_back(&state->children[i]);
  }
  out->children = state->pointers.data();
  if (whole.dictionary != nullptr) {
    Share(held, *whole.dictionary, &state->dictionary);
    out->dictionary = &state->dictionary;
  }
  out->release = [](Struct* released) {
    auto* const shared = static_cast<State*>(released->private_data);
    for (Struct& child : shared->children) {
      if (child.release != nullptr) child.release(&child);
    }
    if (shared->dictionary.release != nullptr) shared->dictionary.release(&shared->dictionary);
    delete shared;
    released->release = nullptr;
  };
  out->private_data = state.release();
}

}  // namespace

Batch::Batch(ArrowSchema schema, ArrowArray array) : held_(new Held{schema, array}) {}

nb::list Batch::GetColumns() const {
  nb::list columns;
  for (int64_t i = 0; i < held_->array.n_children; ++i) {
    columns.append(DescribeColumn(*held_->schema.children[i], *held_->array.children[i]));
  }
  return columns;
}

nb::tuple Batch::Export() const {
  return nb::make_tuple(
      MakeCapsule<ArrowSchema>([&](ArrowSchema* out) { Share(held_, held_->schema, out); }),
      MakeCapsule<ArrowArray>([&](ArrowArray* out) { Share(held_, held_->array, out); }));
}

void MakeStream(std::vector<PythonColumn> columns, int64_t rows, ArrowArrayStream* out) {
  auto held = std::make_shared<StreamColumns>();
  held->rows = rows;
  held->columns = std::move(columns);
  for (const PythonColumn& column : held->columns) {
    for (const nb::object& buffer : column.buffers) {
      if (buffer.is_none()) continue;
      Py_buffer view;
      if (PyObject_GetBuffer(buffer.ptr(), &view, PyBUF_C_CONTIGUOUS) != 0)
        throw nb::python_error();
      held->views.push_back(view);
    }
  }
  *out = {};
  out->get_schema = &GetSchema;
  out->get_next = &GetNext;
  out->get_last_error = [](ArrowArrayStream*) -> const char* { return nullptr; };
  out->release = [](ArrowArrayStream* stream) {
    delete static_cast<std::shared_ptr<StreamColumns>*>(stream->private_data);
    stream->release = nullptr;
  };
  out->private_data = new std::shared_ptr<StreamColumns>(std::move(held));
}

}  // namespace sqxer::python
