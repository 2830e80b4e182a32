#include <nanobind/nanobind.h>
#include <nanobind/stl/optional.h>
#include <nanobind/stl/string.h>
#include <nanobind/stl/tuple.h>
#include <nanobind/stl/vector.h>

#include "Await.h"
#include "Batch.h"
#include "Capsules.h"
#include "Engine/Engine.h"
#include "Options.h"
#include "Plan.h"

// The engine as the package sqxer drives it. What people see stands in python/sqxer.

namespace sqxer::python {
namespace {

using engine::Column;
using engine::Evaluator;
using engine::Result;
using engine::ResultOptions;
using engine::Session;
using engine::Value;
using Texts = std::vector<std::string>;
using PythonResult = Unlocked<Result>;
using PythonEvaluator = Unlocked<Evaluator>;

nb::tuple DescribeColumn(const Column& column) {
  return nb::make_tuple(column.name, column.type, column.isNullable);
}

Value ToValue(nb::handle object) {
  if (object.is_none()) return std::monostate();
  if (nb::isinstance<nb::bool_>(object)) return nb::cast<bool>(object);
  if (nb::isinstance<nb::int_>(object)) {
    int overflow = 0;
    const long long number = PyLong_AsLongLongAndOverflow(object.ptr(), &overflow);
    if (overflow == 0) return std::int64_t{number};
  }
  if (nb::isinstance<nb::float_>(object)) return nb::cast<double>(object);
  return std::string(nb::str(object).c_str());
}

nb::object FromValue(const Value& value) {
  return std::visit(
      [](const auto& held) -> nb::object {
        if constexpr (std::is_same_v<std::decay_t<decltype(held)>, std::monostate>) {
          return nb::none();
        } else {
          return nb::cast(held);
        }
      },
      value);
}

/// Opens a stream of a Python object's, which is asked with the columns that are wanted.
class PythonSource {
 public:
  explicit PythonSource(nb::object open)
      : open_(new nb::object(std::move(open)), [](nb::object* object) {
          const nb::gil_scoped_acquire gil;
          delete object;
        }) {}

  void operator()(const engine::SourceRequest& request, ArrowArrayStream* out) const {
    const nb::gil_scoped_acquire gil;
    const nb::object capsule = (*open_)(request.columns);
    ArrowArrayStream* const stream = FromCapsule<ArrowArrayStream>(capsule);
    *out = *stream;
    stream->release = nullptr;
  }

 private:
  /// Copies need no lock.
  std::shared_ptr<nb::object> open_;
};

class PythonSession {
 public:
  Session& Get() { return *session_; }
  template <class Work>
  auto Run(Work&& work) {
    std::optional<std::decay_t<decltype(work())>> result;
    Await([&] { result.emplace(work()); }, [this] { session_->Cancel(); });
    return std::move(*result);
  }
  PythonResult Query(const std::string& sql, const Texts& parameters, const std::string& numerics,
                     bool keepsDictionaries) {
    const ResultOptions options = MakeOptions(numerics, keepsDictionaries);
    return PythonResult(Run([&] { return session_->Query(sql, parameters, options); }));
  }
  PythonResult Stream(const std::string& sql, const Texts& parameters, const std::string& numerics,
                      bool keepsDictionaries) {
    const ResultOptions options = MakeOptions(numerics, keepsDictionaries);
    return PythonResult(Run([&] { return session_->Stream(sql, parameters, options); }));
  }
  void AddArrow(const std::string& name, nb::handle capsule, bool takesBinaryAsText) {
    auto* const stream = FromCapsule<ArrowArrayStream>(capsule);
    Run([&] {
      session_->AddArrow(name, stream, {.takesBinaryAsText = takesBinaryAsText});
      return true;
    });
  }
  void AddSource(const std::string& name, nb::handle schema, nb::object open,
                 bool takesBinaryAsText, bool areRowsKept) {
    session_->AddSource(name, *FromCapsule<ArrowSchema>(schema), PythonSource(std::move(open)),
                        {.takesBinaryAsText = takesBinaryAsText, .areRowsKept = areRowsKept});
  }

  /// For rows like those of a stream, which stays as it is.
  PythonEvaluator Compile(const std::string& expression, nb::handle capsule,
                          const Texts& parameters) {
    auto* const stream = FromCapsule<ArrowArrayStream>(capsule);
    ArrowSchema schema = {};
    if (stream->release == nullptr || stream->get_schema(stream, &schema) != 0)
      throw nb::value_error("the stream has no schema");
    const std::unique_ptr<ArrowSchema, void (*)(ArrowSchema*)> released(
        &schema, [](ArrowSchema* held) { held->release(held); });
    return PythonEvaluator(session_->Compile(expression, schema, parameters));
  }

 private:
  Unlocked<Session> session_{Session()};
};

std::optional<Batch> Next(PythonResult& result) {
  ArrowSchema schema = {};
  ArrowArray array = {};
  bool hasNext = false;
  Await(
      [&] {
        hasNext = result->Next(&array);
        if (hasNext) result->WriteSchema(&schema);
      },
      [] {});
  if (!hasNext) return std::nullopt;
  return Batch(schema, array);
}

nb::object ExportStream(PythonResult& result) {
  return MakeCapsule<ArrowArrayStream>(
      [&](ArrowArrayStream* out) { std::move(*result).Export(out); });
}

nb::object MakeColumnStream(const nb::list& columns, int64_t rows) {
  std::vector<PythonColumn> made;
  for (const nb::handle column : columns) {
    auto [name, format, length, nulls, buffers] =
        nb::cast<std::tuple<std::string, std::string, int64_t, int64_t, nb::list>>(column);
    std::vector<nb::object> kept;
    for (const nb::handle buffer : buffers) kept.push_back(nb::borrow(buffer));
    made.push_back({std::move(name), std::move(format), length, nulls, std::move(kept)});
  }
  return MakeCapsule<ArrowArrayStream>(
      [&](ArrowArrayStream* out) { MakeStream(std::move(made), rows, out); });
}

void TranslateError(const std::exception_ptr& thrown, void*) {
  try {
    std::rethrow_exception(thrown);
  } catch (const engine::Error& error) {
    const nb::object raised = nb::module_::import_("sqxer.errors")
                                  .attr("make_error")(error.GetCode(), error.what(), error.GetSql(),
                                                      error.GetPosition(), error.GetRow());
    PyErr_SetObject(reinterpret_cast<PyObject*>(Py_TYPE(raised.ptr())), raised.ptr());
  }
}

}  // namespace

NB_MODULE(_engine, module) {
  nb::register_exception_translator(&TranslateError);
  module.attr("__version__") = engine::GetVersion();
  module.def("split_sql", &engine::SplitSql);
  module.def("make_stream", &MakeColumnStream);

  nb::class_<Batch>(module, "Batch")
      .def("__len__", &Batch::CountRows)
      .def("columns", &Batch::GetColumns)
      .def(
          "__arrow_c_array__", [](const Batch& batch, nb::handle) { return batch.Export(); },
          nb::arg("requested_schema") = nb::none());

  nb::class_<PythonResult>(module, "Result")
      .def("columns",
           [](PythonResult& result) {
             nb::list columns;
             for (const Column& column : result->GetColumns())
               columns.append(DescribeColumn(column));
             return columns;
           })
      .def("count_rows", [](PythonResult& result) { return result->CountRows(); })
      .def("schema",
           [](PythonResult& result) {
             return MakeCapsule<ArrowSchema>([&](ArrowSchema* out) { result->WriteSchema(out); });
           })
      .def("next", &Next)
      .def("copy", [](PythonResult& result) { return PythonResult(result->Copy()); })
      .def("export_stream", &ExportStream);

  nb::class_<PythonEvaluator>(module, "Evaluator")
      .def("column",
           [](PythonEvaluator& evaluator) { return DescribeColumn(evaluator->GetColumn()); })
      .def("evaluate",
           [](PythonEvaluator& evaluator, nb::handle capsule, const std::string& numerics) {
             auto* const stream = FromCapsule<ArrowArrayStream>(capsule);
             std::optional<Result> result;
             Await(
                 [&] { result.emplace(evaluator->Evaluate(stream, MakeOptions(numerics, false))); },
                 [] {});
             return PythonResult(std::move(*result));
           })
      .def("evaluate_row", [](PythonEvaluator& evaluator, const nb::list& row) {
        std::vector<Value> values;
        for (const nb::handle value : row) values.push_back(ToValue(value));
        return FromValue(evaluator->EvaluateRow(values));
      });

  nb::class_<PythonSession>(module, "Session")
      .def(nb::init<>())
      .def("set", [](PythonSession& session, const std::string& name,
                     const std::string& value) { session.Get().Set(name, value); })
      .def("set_threads",
           [](PythonSession& session, unsigned threads) { session.Get().SetThreads(threads); })
      .def("set_directory",
           [](PythonSession& session, const std::string& directory) {
             session.Get().SetDirectory(directory);
           })
      .def("add_file", [](PythonSession& session, const std::string& name,
                          const std::string& path) { session.Get().AddFile(name, path); })
      .def("set_types", [](PythonSession& session, const std::string& name,
                           const std::string& types) { session.Get().SetTypes(name, types); })
      .def("add_arrow", &PythonSession::AddArrow)
      .def("add_source", &PythonSession::AddSource)
      .def("remove_table",
           [](PythonSession& session, const std::string& name) { session.Get().RemoveTable(name); })
      .def("query", &PythonSession::Query)
      .def("stream", &PythonSession::Stream)
      .def("compile", &PythonSession::Compile)
      .def("cancel", [](PythonSession& session) { session.Get().Cancel(); });

  AddPlan(module);
}

}  // namespace sqxer::python
