#include "CopyFile.h"

#include <cstring>
#include <system_error>

#include "EngineError.h"
#include "Packing.h"
#include "PlanError.h"
#include "ReplacedFile.h"
#include "ResultFormats.h"

namespace sqxer {
namespace {

using Format = SqlCopy::Format;

/// What a file of a name holds, apart from how it is packed. Nothing where the name does not tell.
struct Ending {
  std::string_view text;
  Format format;
  char delimiter = ',';
};
constexpr Ending kEndings[] = {{".csv", Format::kCsv},         {".tsv", Format::kCsv, '\t'},
                               {".jsonl", Format::kJsonLines}, {".ndjson", Format::kJsonLines},
                               {".json", Format::kJson},       {".arrow", Format::kArrow}};

const Ending* FindEnding(std::string_view path) {
  for (const std::string_view packed : {".gz", ".zst"}) {
    if (path.ends_with(packed)) path.remove_suffix(packed.size());
  }
  for (const Ending& ending : kEndings) {
    if (path.ends_with(ending.text)) return &ending;
  }
  return nullptr;
}

/// Where the formatted rows go: through the packer into the file.
class FileOutput final : public ResultOutput {
 public:
  explicit FileOutput(const SqlCopy& copy, bool isArray)
      : copy_(copy),
        file_(copy.file),
        packer_(MakePacker(copy.file, [this](std::string_view bytes) { file_.Write(bytes); })),
        isArray_(isArray) {}

  void Write(std::string_view bytes) override {
    WithErrors([&] { isArray_ ? WriteElements(bytes) : Put(bytes); });
  }
  void Complete() {
    WithErrors([&] {
      if (isArray_) Put(isBegun_ ? "\n]\n" : "[]\n");
      if (packer_) packer_->End();
      file_.Complete();
    });
  }

  template <class Action>
  static auto WithErrors(const SqlCopy& copy, Action&& action) {
    try {
      return action();
    } catch (const std::system_error& error) {
      ThrowPlanError(kCopyFailed, copy.filePosition,
                     {Wide(copy.file), Wide(std::strerror(error.code().value()))});
    }
  }

 private:
  template <class Action>
  void WithErrors(Action&& action) {
    WithErrors(copy_, action);
  }
  void Put(std::string_view bytes) { packer_ ? packer_->Add(bytes) : file_.Write(bytes); }
  /// Objects come a line each; what parts them is known when the next one comes.
  void WriteElements(std::string_view lines) {
    array_.clear();
    while (!lines.empty()) {
      const std::size_t end = std::min(lines.find('\n'), lines.size() - 1);
      array_ += isBegun_ ? ",\n" : "[\n";
      array_ += lines.substr(0, end);
      lines.remove_prefix(end + 1);
      isBegun_ = true;
    }
    Put(array_);
  }

  const SqlCopy& copy_;
  ReplacedFile file_;
  const std::unique_ptr<Packer> packer_;
  const bool isArray_;
  bool isBegun_ = false;
  std::string array_;
};

class CopyFile final : public CopyTarget {
 public:
  CopyFile(const SqlCopy& copy, const TextLayout& layout, bool isArray)
      : output_(FileOutput::WithErrors(
            copy, [&] { return std::make_unique<FileOutput>(copy, isArray); })),
        rows_(MakeTextResult(layout, *output_)) {}

  ResultSink& GetSink() override { return *rows_; }
  uint64 Complete() override {
    rows_->Print();
    output_->Complete();
    return rows_->GetWrittenRows().value_or(0);
  }

 private:
  const std::unique_ptr<FileOutput> output_;
  const std::unique_ptr<FormattedResult> rows_;
};

}  // namespace

std::unique_ptr<CopyTarget> OpenCopyFile(const SqlCopy& copy) {
  const Ending* const ending = FindEnding(copy.file);
  if (ending == nullptr && !copy.format) ThrowEngineError(kCopyFormat, {Wide(copy.file)});
  const Format format = copy.format.value_or(ending != nullptr ? ending->format : Format::kCsv);
  if (format != Format::kCsv) {
    const auto refuse = [&](bool isGiven, const wchar_t* option) {
      if (isGiven) ThrowPlanError(kCopyOfCsv, copy.optionsPosition, {option});
    };
    refuse(copy.hasHeader.has_value(), L"HEADER");
    refuse(copy.delimiter.has_value(), L"DELIMITER");
    refuse(copy.nullText.has_value(), L"NULL");
  }
  TextLayout layout;
  layout.format = format == Format::kCsv     ? TextFormat::kCsv
                  : format == Format::kArrow ? TextFormat::kArrow
                                             : TextFormat::kJson;
  layout.hasHeader = copy.hasHeader.value_or(true);
  const bool isOfEnding = ending != nullptr && ending->format == Format::kCsv;
  layout.delimiter = copy.delimiter.value_or(isOfEnding ? ending->delimiter : ',');
  layout.nullText = copy.nullText.value_or("");
  return std::make_unique<CopyFile>(copy, layout, format == Format::kJson);
}

}  // namespace sqxer
