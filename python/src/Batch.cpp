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
  if (format.starts_with("d:") || format == "tin") return 128;
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

/// Children of a struct, released with it; those that were moved away have no release.
template <class Struct>
class Children {
 public:
  /// `count` of them, none filled yet.
  explicit Children(std::size_t count = 0) : children_(count), pointers_(count) {
    for (std::size_t i = 0; i < count; ++i) pointers_[i] = &children_[i];
  }
  Children(const Children&) = delete;
  Children& operator=(const Children&) = delete;
  ~Children() {
    for (Struct& child : children_) {
      if (child.release != nullptr) child.release(&child);
    }
  }

  Struct* At(std::size_t index) { return &children_[index]; }
  void ShowIn(Struct* parent) {
    parent->n_children = static_cast<int64_t>(children_.size());
    parent->children = pointers_.data();
  }

 private:
  std::vector<Struct> children_;
  std::vector<Struct*> pointers_;
};

/// Hands a state over to the struct that it is for; it goes when that is released.
template <class Struct, class State>
void Give(std::unique_ptr<State> state, Struct* out) {
  state->children.ShowIn(out);
  out->release = [](Struct* released) {
    delete static_cast<State*>(released->private_data);
    released->release = nullptr;
  };
  out->private_data = state.release();
}

struct ArrayState {
  explicit ArrayState(std::size_t children = 0) : children(children) {}
  std::shared_ptr<StreamColumns> keeper;
  std::vector<const void*> buffers;
  Children<ArrowArray> children;
};

struct SchemaState {
  SchemaState(std::string itsName, std::string itsFormat, std::size_t children = 0)
      : name(std::move(itsName)), format(std::move(itsFormat)), children(children) {}
  const std::string name;
  const std::string format;
  Children<ArrowSchema> children;
};

void FillSchema(std::unique_ptr<SchemaState> state, ArrowSchema* out) {
  *out = {};
  out->format = state->format.c_str();
  out->name = state->name.c_str();
  out->flags = ARROW_FLAG_NULLABLE;
  Give(std::move(state), out);
}

void FillArray(std::unique_ptr<ArrayState> state, int64_t rows, int64_t nulls, ArrowArray* out) {
  *out = {};
  out->length = rows;
  out->null_count = nulls;
  out->n_buffers = static_cast<int64_t>(state->buffers.size());
  out->buffers = state->buffers.data();
  Give(std::move(state), out);
}

std::shared_ptr<StreamColumns>& ColumnsOf(ArrowArrayStream* stream) {
  return *static_cast<std::shared_ptr<StreamColumns>*>(stream->private_data);
}

/// Makes something for a stream's reader, to whom no exception may come.
template <class Make>
int Serve(Make&& make) noexcept {
  try {
    make();
    return 0;
  } catch (...) {
    return ENOMEM;
  }
}

int GetSchema(ArrowArrayStream* stream, ArrowSchema* out) {
  return Serve([&] {
    const std::vector<PythonColumn>& columns = ColumnsOf(stream)->columns;
    auto state = std::make_unique<SchemaState>("", "+s", columns.size());
    for (std::size_t i = 0; i < columns.size(); ++i) {
      FillSchema(std::make_unique<SchemaState>(columns[i].name, columns[i].format),
                 state->children.At(i));
    }
    FillSchema(std::move(state), out);
  });
}

int GetNext(ArrowArrayStream* stream, ArrowArray* out) {
  return Serve([&] {
    const std::shared_ptr<StreamColumns>& columns = ColumnsOf(stream);
    if (columns->isGiven) {
      *out = {};
      return;
    }
    auto rows = std::make_unique<ArrayState>(columns->columns.size());
    rows->buffers = {nullptr};
    auto view = columns->views.begin();
    for (std::size_t i = 0; i < columns->columns.size(); ++i) {
      const PythonColumn& column = columns->columns[i];
      auto state = std::make_unique<ArrayState>();
      state->keeper = columns;
      for (const nb::object& buffer : column.buffers) {
        state->buffers.push_back(buffer.is_none() ? nullptr : (view++)->buf);
      }
      FillArray(std::move(state), column.length, column.nullCount, rows->children.At(i));
    }
    FillArray(std::move(rows), columns->rows, 0, out);
    columns->isGiven = true;
  });
}

/// A struct like `whole`, with children of its own, which others may move away, all of which keep
/// the batch.
template <class Struct>
void Share(const std::shared_ptr<const void>& held, const Struct& whole, Struct* out) {
  struct State {
    explicit State(std::size_t count) : children(count) {}
    std::shared_ptr<const void> held;
    Children<Struct> children;
    Children<Struct> dictionary{1};
  };
  const auto count = static_cast<std::size_t>(whole.n_children);
  auto state = std::make_unique<State>(count);
  state->held = held;
  for (std::size_t i = 0; i < count; ++i) Share(held, *whole.children[i], state->children.At(i));
  if (whole.dictionary != nullptr) Share(held, *whole.dictionary, state->dictionary.At(0));
  *out = whole;
  if (whole.dictionary != nullptr) out->dictionary = state->dictionary.At(0);
  Give(std::move(state), out);
}

}  // namespace

Batch::Batch(ArrowSchema* schema, ArrowArray* array) : held_(std::make_shared<Held>()) {
  held_->schema = *schema;
  held_->array = *array;
  schema->release = nullptr;
  array->release = nullptr;
}

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
