#include "ArrowHandle.h"
#include "ArrowSource.h"
#include "ArrowTable.h"
#include "CalledFunction.h"
#include "CellText.h"
#include "CopyFile.h"
#include "Engine/Engine.h"
#include "Evaluator.h"
#include "ResultFormats.h"
#include "ResultImpl.h"
#include "Session.h"
#include "TablePath.h"
#include "TextTable.h"

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

TextLayout LayoutOf(const TextOptions& options) {
  TextLayout layout{
      .hasHeader = options.hasHeader, .width = options.width, .mostRows = options.mostRows};
  using Format = TextOptions::Format;
  switch (options.format) {
    case Format::kCsv:
      layout.format = TextFormat::kCsv;
      break;
    case Format::kTsv:
      layout.format = TextFormat::kCsv;
      layout.delimiter = '\t';
      break;
    case Format::kJsonLines:
      layout.format = TextFormat::kJson;
      break;
    case Format::kTable:
      layout.format = TextFormat::kTable;
      break;
    case Format::kLines:
      layout.format = TextFormat::kRecords;
      break;
    case Format::kMarkdown:
      layout.format = TextFormat::kMarkdown;
      break;
    case Format::kHtml:
      layout.format = TextFormat::kHtml;
      break;
    case Format::kChart:
      layout.format = TextFormat::kChart;
      break;
    case Format::kSvg:
      layout.format = TextFormat::kSvg;
      break;
    case Format::kArrow:
      layout.format = TextFormat::kArrow;
      break;
  }
  return layout;
}

Phase PhaseOf(RunPhase phase) {
  switch (phase) {
    case RunPhase::kJoining:
      return Phase::kJoining;
    case RunPhase::kGrouping:
      return Phase::kGrouping;
    case RunPhase::kSorting:
      return Phase::kSorting;
    case RunPhase::kWriting:
      break;
  }
  return Phase::kWriting;
}

/// Hands pieces of text to the program.
class CallerOutput final : public ResultOutput {
 public:
  CallerOutput(const WriteText& write, bool takesWholeResults)
      : write_(write), takesWholeResults_(takesWholeResults) {}
  void Write(std::string_view bytes) override { write_(bytes); }
  bool TakesWholeResults() const override { return takesWholeResults_; }

 private:
  const WriteText& write_;
  const bool takesWholeResults_;
};

}  // namespace

class Session::Impl {
 public:
  Impl() : state_(std::make_shared<State>()) {
    state_->session.SetCancellation(&state_->running->cancellation);
    state_->session.SetCopyTarget(&OpenCopyFile);
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
    Execute(session, [&] { session.Execute(sql, sink); });
    auto result =
        std::make_unique<KeptResult>(sql, std::move(sink.schema), std::move(sink.chunks), options);
    if (!sink.tag.empty()) result->SetDone(sink.tag, static_cast<std::int64_t>(sink.written));
    return Result(std::move(result));
  }
  Result Stream(const std::string& sql, const std::vector<std::string>& parameters,
                const ResultOptions& options) {
    Prepare(parameters);
    return Result(std::make_unique<StreamedResult>(
        sql, options, state_->running,
        [state = state_, sql](ResultSink& sink) { state->session.Execute(sql, sink); }));
  }
  void Write(const std::string& sql, const WriteText& write,
             const std::vector<std::string>& parameters, const TextOptions& options) {
    sqxer::Session& session = Prepare(parameters);
    // What waits does so in the session's folder for temporary files.
    const SettingsScope scope(session.GetSettings());
    const BudgetScope counted(session.BeginBudget());
    const BudgetScope use(MemoryUse::kResult);
    CallerOutput output(write, options.waitsForEnd);
    const auto rows = MakeTextResult(LayoutOf(options), output);
    const auto print = [&] {
      session.Execute(sql, *rows, options.runs);
      rows->Print();
    };
    Execute(session, print, rows.get());
  }
  const RunReport& GetReport() const { return report_; }

  void SetThreads(unsigned threads) {
    Use().SetThreads(threads);
    fileOptions_.file.threads = threads;
    Use().SetFileOptions(fileOptions_);
  }
  void SetFileOptions(const FileOptions& options) {
    TextTableOptions wanted = fileOptions_;
    wanted.file.delimiter = options.delimiter;
    wanted.file.hasHeader = options.hasHeader;
    wanted.file.encoding = options.encoding;
    wanted.nullText = options.nullText;
    Use().SetFileOptions(wanted);
    fileOptions_ = wanted;
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
    const int timeout = session.GetSettings()->GetSwitches().statementTimeout_;
    if (timeout != 0) state_->running->cancellation.SetDeadline(std::chrono::milliseconds(timeout));
    report_ = {};
    session.SetParameters(parameters);
    return session;
  }

  /// Does what runs a statement, and reports of it however it ends. `text` is what was made of it.
  template <class Action>
  void Execute(const sqxer::Session& session, Action&& run, const FormattedResult* text = nullptr) {
    const auto report = [&] {
      const sqxer::Session::Timing& timing = session.GetTiming();
      report_ = {.load = timing.load,
                 .bind = timing.bind,
                 .run = timing.run,
                 .spilledBytes = timing.spilledBytes,
                 .writtenRows = text == nullptr ? std::nullopt : text->GetWrittenRows(),
                 .tag = session.GetTag()};
    };
    try {
      run();
    } catch (...) {
      report();
      throw;
    }
    report();
  }

  const std::shared_ptr<State> state_;
  TextTableOptions fileOptions_;
  RunReport report_;
};

std::string NameOfTable(const std::string& path) {
  const TablePath parsed = TablePath::Parse(path);
  if (!parsed.IsPath()) return {};
  std::string name = BaseStringUtil::StringToUtf8(parsed.Name());
  const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
  for (char& c : name) {
    const bool isLetter =
        (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || static_cast<unsigned char>(c) >= 0x80;
    if (!isLetter && !isDigit(c)) c = '_';
  }
  return name.empty() || isDigit(name.front()) ? "_" + name : name;
}

std::size_t CountColumns(std::string_view text) { return DisplayWidth(text); }

Session::Session() : impl_(std::make_unique<Impl>()) {}
Session::~Session() = default;
Session::Session(Session&&) noexcept = default;
Session& Session::operator=(Session&&) noexcept = default;

void Session::Set(const std::string& name, const std::string& value) {
  WithErrors({}, [&] { impl_->Use().Set(name, value); });
}

std::string Session::Get(const std::string& name) {
  return WithErrors({}, [&] { return impl_->Use().GetSettings()->GetSwitches().Get(name); });
}

void Session::SetThreads(unsigned threads) { impl_->SetThreads(std::max(threads, 1u)); }

void Session::SetDirectory(const std::string& directory) { impl_->Use().SetDirectory(directory); }

void Session::SetUntrusted() { impl_->Use().SetUntrusted(); }

bool Session::IsUntrusted() const { return impl_->Use().IsUntrusted(); }

void Session::CheckReadable(const std::string& path) const {
  WithErrors({}, [&] { impl_->Use().CheckReadable(path); });
}

void Session::SetFileOptions(const FileOptions& options) {
  WithErrors({}, [&] { impl_->SetFileOptions(options); });
}

void Session::SetHeaderWarning(std::function<void(const std::string& path)> warn) {
  impl_->Use().SetHeaderWarning(std::move(warn));
}

void Session::RefuseStandardInput() { impl_->Use().RefuseStandardInput(); }

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
    const BudgetScope counted(session.BeginBudget());
    const XeString kept = Wide(name);
    const BudgetScope use(MemoryUse::kTable, kept.c_str());
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

void Session::Write(const std::string& sql, const WriteText& write,
                    const std::vector<std::string>& parameters, const TextOptions& options) {
  WithErrors(sql, [&] { impl_->Write(sql, write, parameters, options); });
}

Evaluator Session::Compile(const std::string& expression, const ArrowSchema& schema,
                           const std::vector<std::string>& parameters) {
  return WithErrors(expression, [&] {
    return Evaluator(std::make_unique<Evaluator::Impl>(
        expression, ReadSchema(schema, MakeReadOptions("input", {})), parameters,
        impl_->Use().GetFunctions(), impl_->Use().GetSettings()));
  });
}

void Session::SetProgress(TellProgress tell) {
  if (!tell) return impl_->Use().SetProgress(nullptr, nullptr);
  impl_->Use().SetProgress(
      [tell](uint64 done, uint64 total, bool areRows) {
        tell({Phase::kReading, done, total, areRows});
      },
      [tell](RunPhase phase, uint64 done, uint64 total) {
        tell({PhaseOf(phase), done, total, true});
      });
}

std::vector<MadeTable> Session::ListMadeTables() {
  std::vector<MadeTable> tables;
  for (const auto& [key, object] : impl_->Use().GetObjects()) {
    tables.push_back({BaseStringUtil::StringToUtf8(object.name), object.IsView()});
  }
  return tables;
}

const RunReport& Session::GetReport() const { return impl_->GetReport(); }

void Session::Cancel() noexcept { impl_->Cancel(); }
void Session::Stop() { impl_->Use(); }

}  // namespace sqxer::engine
