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
#include "PythonResult.h"

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
  const nb::str text(object);
  Py_ssize_t size = 0;
  const char* const characters = PyUnicode_AsUTF8AndSize(text.ptr(), &size);
  if (characters == nullptr) throw nb::python_error();
  return std::string(characters, static_cast<std::size_t>(size));
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

/// A Python object that gives streams to the engine. Copies need no lock.
class StreamGiver {
 public:
  explicit StreamGiver(nb::object callable)
      : callable_(new nb::object(std::move(callable)), [](nb::object* object) {
          const nb::gil_scoped_acquire gil;
          delete object;
        }) {}

 protected:
  /// Moves the stream away that it gives. The caller has the lock.
  template <class... Arguments>
  void Ask(ArrowArrayStream* out, Arguments&&... arguments) const {
    const nb::object capsule = (*callable_)(std::forward<Arguments>(arguments)...);
    ArrowArrayStream* const stream = FromCapsule<ArrowArrayStream>(capsule);
    *out = *stream;
    stream->release = nullptr;
  }

 private:
  std::shared_ptr<nb::object> callable_;
};

/// Is asked with the columns that are wanted, and the conditions: a column, how it compares, and
/// the literals, their kinds and texts.
class PythonSource : StreamGiver {
 public:
  using StreamGiver::StreamGiver;
  void operator()(const engine::SourceRequest& request, ArrowArrayStream* out) const {
    static constexpr const char* kComparisons[] = {
        "=", "<>", "<", "<=", ">", ">=", "is null", "is not null"};
    static constexpr const char* kKinds[] = {"number", "text", "date", "timestamp"};
    const nb::gil_scoped_acquire gil;
    nb::list conditions;
    for (const engine::SourceCondition& condition : request.conditions) {
      nb::list values;
      for (const auto& value : condition.values) {
        values.append(nb::make_tuple(kKinds[static_cast<int>(value.kind)], value.text));
      }
      conditions.append(nb::make_tuple(
          condition.column, kComparisons[static_cast<int>(condition.comparison)], values));
    }
    Ask(out, request.columns, conditions);
  }
};

/// Is asked with the arguments of some rows.
class PythonFunction : StreamGiver {
 public:
  using StreamGiver::StreamGiver;
  void operator()(ArrowSchema* schema, ArrowArray* rows, ArrowArrayStream* out) const {
    const nb::gil_scoped_acquire gil;
    Ask(out, Batch(schema, rows));
  }
};

class PythonSession {
 public:
  Session& Get() { return *session_; }
  template <class Work>
  auto Run(Work&& work) {
    using Made = std::decay_t<decltype(work())>;
    std::optional<Made> result;
    try {
      Await([&] { result.emplace(work()); }, [this] { session_->Cancel(); });
    } catch (...) {
      if (result) Unlocked<Made>(std::move(*result));
      throw;
    }
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
  /// Ends a stream that is being made.
  void Stop() {
    const nb::gil_scoped_release released;
    session_->Stop();
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
    const ArrowSchema& columns = *FromCapsule<ArrowSchema>(schema);
    const PythonSource source(std::move(open));
    const nb::gil_scoped_release released;
    session_->AddSource(name, columns, source,
                        {.takesBinaryAsText = takesBinaryAsText, .areRowsKept = areRowsKept});
  }

  void AddFunction(const std::string& name, std::optional<Texts> arguments,
                   const std::string& result, bool isVolatile, nb::object function) {
    const PythonFunction call(std::move(function));
    const nb::gil_scoped_release released;
    session_->AddFunction({.name = name,
                           .arguments = std::move(arguments),
                           .result = result,
                           .isVolatile = isVolatile},
                          call);
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
    const auto compile = [&] {
      const nb::gil_scoped_release unlocked;
      return session_->Compile(expression, schema, parameters);
    };
    return PythonEvaluator(compile());
  }

 private:
  Unlocked<Session> session_{Session()};
};

/// A stream that its reader may ask, and release, with the interpreter's lock or without.
struct UnlockedStream {
  ArrowArrayStream inner;

  template <class Action>
  static auto Do(ArrowArrayStream* stream, Action&& action) {
    ArrowArrayStream* const inner = &static_cast<UnlockedStream*>(stream->private_data)->inner;
    if (Py_IsInitialized() == 0 || PyGILState_Check() == 0) return action(inner);
    const nb::gil_scoped_release released;
    return action(inner);
  }
};

nb::object ExportStream(PythonResult& result) {
  return MakeCapsule<ArrowArrayStream>([&](ArrowArrayStream* out) {
    auto held = std::make_unique<UnlockedStream>();
    std::move(result.Get()).Export(&held->inner);
    *out = {};
    out->get_schema = [](ArrowArrayStream* stream, ArrowSchema* schema) {
      return UnlockedStream::Do(
          stream, [&](ArrowArrayStream* inner) { return inner->get_schema(inner, schema); });
    };
    out->get_next = [](ArrowArrayStream* stream, ArrowArray* array) {
      return UnlockedStream::Do(
          stream, [&](ArrowArrayStream* inner) { return inner->get_next(inner, array); });
    };
    out->get_last_error = [](ArrowArrayStream* stream) {
      ArrowArrayStream* const inner = &static_cast<UnlockedStream*>(stream->private_data)->inner;
      return inner->get_last_error(inner);
    };
    out->release = [](ArrowArrayStream* stream) {
      UnlockedStream::Do(stream, [](ArrowArrayStream* inner) { inner->release(inner); });
      delete static_cast<UnlockedStream*>(stream->private_data);
      stream->release = nullptr;
    };
    out->private_data = held.release();
  });
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
    nb::dict inputs;
    for (const engine::Error::Input& input : error.GetInputs())
      inputs[nb::str(input.column.c_str(), input.column.size())] =
          nb::str(input.value.c_str(), input.value.size());
    const nb::object raised = nb::module_::import_("sqxer.errors")
                                  .attr("make_error")(error.GetCode(), error.what(), error.GetSql(),
                                                      error.GetPosition(), error.GetRow());
    raised.attr("inputs") = inputs;
    PyErr_SetObject(reinterpret_cast<PyObject*>(Py_TYPE(raised.ptr())), raised.ptr());
  }
}

}  // namespace

NB_MODULE(_engine, module) {
  nb::register_exception_translator(&TranslateError);
  // Sources may refer to what refers to them; the end of the interpreter is soon enough for those.
  nb::set_leak_warnings(false);
  module.attr("__version__") = engine::GetVersion();
  module.def("split_sql", [](const std::string& text) {
    Texts statements;
    for (engine::Statement& one : engine::SplitStatements(text))
      statements.push_back(std::move(one.sql));
    return statements;
  });
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
             for (const Column& column : result.Get().GetColumns())
               columns.append(DescribeColumn(column));
             return columns;
           })
      .def("count_rows", [](PythonResult& result) { return result.Get().CountRows(); })
      .def("tag", [](PythonResult& result) { return result.Get().GetTag(); })
      .def("schema",
           [](PythonResult& result) {
             return MakeCapsule<ArrowSchema>(
                 [&](ArrowSchema* out) { result.Get().WriteSchema(out); });
           })
      .def("next", &PythonResult::Next)
      .def("copy", [](PythonResult& result) { return PythonResult(result.Get().Copy()); })
      .def("export_stream", &ExportStream);

  nb::class_<PythonEvaluator>(module, "Evaluator")
      .def("column",
           [](PythonEvaluator& evaluator) { return DescribeColumn(evaluator->GetColumn()); })
      .def("inputs", [](PythonEvaluator& evaluator) { return evaluator->GetInputs(); })
      .def("evaluate",
           [](PythonEvaluator& evaluator, nb::handle capsule, const std::string& numerics) {
             auto* const stream = FromCapsule<ArrowArrayStream>(capsule);
             const ResultOptions options = MakeOptions(numerics, false);
             std::optional<Result> result;
             Await([&] { result.emplace(evaluator->Evaluate(stream, options)); },
                   [&] { evaluator->Cancel(); });
             return PythonResult(std::move(*result));
           })
      .def("evaluate_row", [](PythonEvaluator& evaluator, const nb::list& row) {
        std::vector<Value> values;
        for (const nb::handle value : row) values.push_back(ToValue(value));
        return FromValue(evaluator->EvaluateRow(values));
      });

  nb::class_<PythonSession>(module, "Session")
      .def(nb::init<>())
      .def(
          "set",
          [](PythonSession& session, const std::string& name, const std::string& value) {
            session.Get().Set(name, value);
          },
          nb::call_guard<nb::gil_scoped_release>())
      .def(
          "set_threads",
          [](PythonSession& session, unsigned threads) { session.Get().SetThreads(threads); },
          nb::call_guard<nb::gil_scoped_release>())
      .def(
          "set_untrusted", [](PythonSession& session) { session.Get().SetUntrusted(); },
          nb::call_guard<nb::gil_scoped_release>())
      .def(
          "set_directory",
          [](PythonSession& session, const std::string& directory) {
            session.Get().SetDirectory(directory);
          },
          nb::call_guard<nb::gil_scoped_release>())
      .def(
          "add_file",
          [](PythonSession& session, const std::string& name, const std::string& path) {
            session.Get().AddFile(name, path);
          },
          nb::call_guard<nb::gil_scoped_release>())
      .def(
          "set_types",
          [](PythonSession& session, const std::string& name, const std::string& types) {
            session.Get().SetTypes(name, types);
          },
          nb::call_guard<nb::gil_scoped_release>())
      .def("add_arrow", &PythonSession::AddArrow)
      .def("add_source", &PythonSession::AddSource)
      .def(
          "remove_table",
          [](PythonSession& session, const std::string& name) { session.Get().RemoveTable(name); },
          nb::call_guard<nb::gil_scoped_release>())
      .def("add_function", &PythonSession::AddFunction, nb::arg("name"),
           nb::arg("arguments").none(), nb::arg("result"), nb::arg("is_volatile"),
           nb::arg("function"))
      .def(
          "remove_function",
          [](PythonSession& session, const std::string& name) {
            session.Get().RemoveFunction(name);
          },
          nb::call_guard<nb::gil_scoped_release>())
      .def("query", &PythonSession::Query)
      .def("stream", &PythonSession::Stream)
      .def("compile", &PythonSession::Compile)
      .def("stop", [](PythonSession& session) { session.Stop(); })
      .def("cancel", [](PythonSession& session) { session.Get().Cancel(); });

  AddPlan(module);
}

}  // namespace sqxer::python
