#include "SpillFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <system_error>
#include <utility>

#include "Utility/BaseStringUtil.h"
#include "Utility/ErrorMessage.h"
#include "Utility/SystemUtility.h"

namespace sqxer {

namespace {

int OpenNameless(const char* folder) {
  const int file = open(folder, O_TMPFILE | O_RDWR | O_CLOEXEC | O_EXCL, 0600);
  // Not every file system knows nameless files; a missing folder shows again below.
  if (file >= 0 || (errno != EOPNOTSUPP && errno != EISDIR && errno != ENOENT)) {
    return SystemUtility::KeepOffStandardStreams(file);
  }
  std::string name = std::string(folder) + "/sqxer-sort-XXXXXX";
  const int named = mkostemp(name.data(), O_CLOEXEC);
  if (named >= 0) unlink(name.c_str());
  return SystemUtility::KeepOffStandardStreams(named);
}

SpillFile::Calls calls{&OpenNameless, &pwrite, &pread};

std::string ChooseFolder(const std::string& configured) {
  if (!configured.empty()) return configured;
  const char* system = std::getenv("TMPDIR");
  return system != nullptr && *system != '\0' ? system : "/tmp";
}

}  // namespace

SpillFile::Calls SpillFile::SetCalls(const Calls& replacement) {
  return std::exchange(calls, replacement);
}

SpillFile::SpillFile(const std::string& folder)
    : folder_(ChooseFolder(folder)),
      file_(calls.open(folder_.c_str())),
      budget_(StatementBudget::OfThread().budget) {
  if (file_ < 0) ThrowFailure(errno);
  // The budget stays as long as something counts with it.
  try {
    if (budget_ != nullptr) budget_->Take(sizeof *this);
  } catch (...) {
    close(file_);
    throw;
  }
}

SpillFile::~SpillFile() {
  close(file_);
  if (budget_ == nullptr) return;
  budget_->GiveBackTemporary(size_);
  budget_->GiveBack(sizeof *this);
}

void SpillFile::Append(const uint8* bytes, std::size_t count) {
  if (budget_ != nullptr) budget_->TakeTemporary(count);
  const uint64 wanted = size_ + count;
  try {
    Write(bytes, count);
  } catch (...) {
    if (budget_ != nullptr) budget_->GiveBackTemporary(wanted - size_);
    throw;
  }
}

void SpillFile::Write(const uint8* bytes, std::size_t count) {
  while (count > 0) {
    const ssize_t written = calls.write(file_, bytes, count, static_cast<off_t>(size_));
    if (written < 0) {
      if (errno == EINTR) continue;
      ThrowFailure(errno);
    }
    if (written == 0) ThrowFailure(ENOSPC);
    bytes += written;
    count -= static_cast<std::size_t>(written);
    size_ += static_cast<uint64>(written);
  }
}

void SpillFile::Read(uint64 offset, uint8* bytes, std::size_t count) const {
  while (count > 0) {
    const ssize_t got = calls.read(file_, bytes, count, static_cast<off_t>(offset));
    if (got < 0) {
      if (errno == EINTR) continue;
      ThrowFailure(errno);
    }
    if (got == 0) ThrowFailure(EIO);
    bytes += got;
    count -= static_cast<std::size_t>(got);
    offset += static_cast<uint64>(got);
  }
}

void SpillFile::ThrowFailure(int error) const {
  SUGThrow(
      ErrorMessage(59180, {BaseStringUtil::Utf8ToString(folder_),
                           BaseStringUtil::Utf8ToString(std::generic_category().message(error))}));
}

}  // namespace sqxer
