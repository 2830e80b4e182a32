#include "ArrowHandle.h"
#include "ArrowSource.h"
#include "ArrowTable.h"
#include "CalledFunction.h"
#include "Compiler.h"
#include "Engine/Engine.h"
#include "Evaluator.h"
#include "ResultImpl.h"
#include "Session.h"

namespace sqxer::engine {
namespace {

ArrowReadOptions MakeReadOptions(const std::string& name, const ArrowOptions& options) {
  return {.name = Wide(name), .takesBinaryAsText = options.takesBinaryAsText};
}

/// The columns of a schema, their texts of one character, those that cannot be read XeUnknown: a
/// statement that names one is told when it is read.
TableSchema ReadSchema(const ArrowSchema& schema, const ArrowReadOptions& options) {
  const TableRequest none{.all = false, .names = {}, .mostRows = {}};
  TableSchema columns = ArrowTable(schema, options, none).GetSchema();
  columns.name = options.name;
  return columns;
}

/// As statements have it where it stands without quotation marks.
std::string NameOfFunction(std::string name) {
  for (char& c : name) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return name;
}

}  // namespace

class Session::Impl {
 public:
  Impl() : state_(std::make_shared<State>()) {
    state_->session.SetCancellation(&state_->running->cancellation);
  }
  ~Impl() { state_->running->Stop(); }
  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;

  /// The session, of which no statement is running.
  sqxer::Session& Use() {
    state_->running->Stop();
    return state_->session;
  }
  void Cancel() noexcept { state_->running->cancellation.Request(); }
  /// Something begins that Cancel ends.
  const Cancellation* BeginCancellable() {
    state_->running->cancellation.Withdraw();
    return &state_->running->cancellation;
  }

  Result Query(const std::string& sql, const std::vector<std::string>& parameters,
               const ResultOptions& options) {
    sqxer::Session& session = Prepare(parameters);
    KeepingSink sink;
    session.Execute(sql, sink);
    return Result(
        std::make_unique<KeptResult>(sql, std::move(sink.schema), std::move(sink.chunks), options));
  }
  Result Stream(const std::string& sql, const std::vector<std::string>& parameters,
                const ResultOptions& options) {
    Prepare(parameters);
    return Result(std::make_unique<StreamedResult>(
        sql, options, state_->running,
        [state = state_, sql](ResultSink& sink) { state->session.Execute(sql, sink); }));
  }

 private:
  /// What a statement that runs in a thread needs until the thread has ended.
  struct State {
    std::shared_ptr<Running> running = std::make_shared<Running>();
    sqxer::Session session;
  };

  sqxer::Session& Prepare(const std::vector<std::string>& parameters) {
    sqxer::Session& session = Use();
    BeginCancellable();
    session.SetParameters(parameters);
    return session;
  }

  const std::shared_ptr<State> state_;
};

Session::Session() : impl_(std::make_unique<Impl>()) {}
Session::~Session() = default;
Session::Session(Session&&) noexcept = default;
Session& Session::operator=(Session&&) noexcept = default;

void Session::Set(const std::string& name, const std::string& value) {
  WithErrors({}, [&] { impl_->Use().Set(name, value); });
}

void Session::SetThreads(unsigned threads) { impl_->Use().SetThreads(std::max(threads, 1u)); }

void Session::SetDirectory(const std::string& directory) { impl_->Use().SetDirectory(directory); }

void Session::AddFile(const std::string& name, const std::string& path) {
  WithErrors({}, [&] { impl_->Use().AddTable(name, path); });
}

void Session::SetTypes(const std::string& name, const std::string& columns) {
  WithErrors({}, [&] { impl_->Use().SetSchema(name, columns); });
}

void Session::AddArrow(const std::string& name, ArrowArrayStream* stream,
                       const ArrowOptions& options) {
  WithErrors({}, [&] {
    // Taken over before anything can fail.
    ArrowHandle<ArrowArrayStream> taken;
    if (stream->release != nullptr) taken = ArrowHandle<ArrowArrayStream>(stream);
    sqxer::Session& session = impl_->Use();
    const CancellationScope cancellation(impl_->BeginCancellable());
    Table table = ReadArrowTable(taken.Get(), MakeReadOptions(name, options));
    table.schema.name = Wide(name);
    session.RemoveTable(name);
    session.AddTable(std::make_shared<const Table>(std::move(table)));
  });
}

void Session::AddSource(const std::string& name, const ArrowSchema& schema, OpenSource open,
                        const ArrowOptions& options) {
  WithErrors({}, [&] {
    const ArrowReadOptions read = MakeReadOptions(name, options);
    const bool areKept = options.areRowsKept;
    impl_->Use().AddSource(name, [columns = ReadSchema(schema, read), open, read, areKept] {
      return std::make_shared<ArrowSource>(columns, open, read, areKept);
    });
  });
}

void Session::RemoveTable(const std::string& name) { impl_->Use().RemoveTable(name); }

void Session::AddFunction(const FunctionSpec& function, CallFunction call) {
  WithErrors({}, [&] {
    const AddedFunctionPtr added = MakeAddedFunction(MakeFunctionCall(function, std::move(call)));
    impl_->Use().AddFunction(NameOfFunction(function.name), added);
  });
}

void Session::RemoveFunction(const std::string& name) {
  impl_->Use().RemoveFunction(NameOfFunction(name));
}

Result Session::Query(const std::string& sql, const std::vector<std::string>& parameters,
                      const ResultOptions& options) {
  return WithErrors(sql, [&] { return impl_->Query(sql, parameters, options); });
}

Result Session::Stream(const std::string& sql, const std::vector<std::string>& parameters,
                       const ResultOptions& options) {
  return WithErrors(sql, [&] { return impl_->Stream(sql, parameters, options); });
}

Evaluator Session::Compile(const std::string& expression, const ArrowSchema& schema,
                           const std::vector<std::string>& parameters) {
  return WithErrors(expression, [&] {
    return Evaluator(std::make_unique<Evaluator::Impl>(
        expression, ReadSchema(schema, MakeReadOptions("input", {})), parameters,
        impl_->Use().GetFunctions(), impl_->Use().GetSettings()));
  });
}

void Session::Cancel() noexcept { impl_->Cancel(); }
void Session::Stop() { impl_->Use(); }

std::vector<std::string> SplitSql(const std::string& text) {
  std::vector<std::string> statements;
  for (Statement& statement : SplitStatements(text)) statements.push_back(std::move(statement.sql));
  return statements;
}

const char* GetVersion() noexcept { return SQXER_VERSION; }

}  // namespace sqxer::engine
