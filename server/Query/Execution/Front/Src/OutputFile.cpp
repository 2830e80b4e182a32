#include "Engine/OutputFile.h"

#include "ReplacedFile.h"

namespace sqxer::engine {

class OutputFile::Impl : public ReplacedFile {
 public:
  using ReplacedFile::ReplacedFile;
};

OutputFile::OutputFile(const std::string& path) : impl_(std::make_unique<Impl>(path)) {}
OutputFile::~OutputFile() = default;
OutputFile::OutputFile(OutputFile&&) noexcept = default;
OutputFile& OutputFile::operator=(OutputFile&&) noexcept = default;

void OutputFile::Write(std::string_view bytes) { impl_->Write(bytes); }
void OutputFile::Complete() { impl_->Complete(); }
int OutputFile::GetDescriptor() const { return impl_->GetDescriptor(); }
bool OutputFile::IsSeenAtOnce() const { return impl_->IsSeenAtOnce(); }
void OutputFile::RemoveUnfinished() noexcept { ReplacedFile::RemoveUnfinished(); }

}  // namespace sqxer::engine
