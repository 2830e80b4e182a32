#include "ResultSpool.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <vector>

#include "Utility/Settings.h"

namespace sqxer {

void ResultSpool::Spill() {
  if (!file_) file_.emplace(Settings::Current()->GetSwitches().tempDirectory_);
  file_->Append(reinterpret_cast<const uint8*>(memory_.data()), memory_.size());
  memory_.clear();
}

void ResultSpool::ForEachPiece(const std::function<void(std::string_view)>& take) const {
  constexpr uint64 kPieceBytes = uint64{1} << 20;
  if (file_) {
    std::vector<char> piece(kPieceBytes);
    for (uint64 start = 0; start < file_->GetSize(); start += kPieceBytes) {
      const uint64 count = std::min(kPieceBytes, file_->GetSize() - start);
      file_->Read(start, reinterpret_cast<uint8*>(piece.data()), count);
      take({piece.data(), count});
    }
  }
  take(memory_);
}

void WriteOut(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(STDOUT_FILENO, bytes.data(), bytes.size());
    if (written >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno != EINTR) {
      throw std::system_error(errno, std::generic_category(), "standard output");
    }
  }
}

}  // namespace sqxer
