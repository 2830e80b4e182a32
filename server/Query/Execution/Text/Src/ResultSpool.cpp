#include "ResultSpool.h"

#include <algorithm>
#include <vector>

#include "SpillFile.h"
#include "Utility/Settings.h"
#include "Utility/StatementBudget.h"

namespace sqxer {
namespace {

constexpr uint64 kMaxMemory = uint64{64} << 20;

}  // namespace

ResultSpool::ResultSpool() : mostMemory_(StatementBudget::CapShare(kMaxMemory, 16)) {}
ResultSpool::~ResultSpool() = default;

void ResultSpool::Spill() {
  if (!file_)
    file_ = std::make_unique<SpillFile>(Settings::Current()->GetSwitches().tempDirectory_);
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
  take({memory_.data(), memory_.size()});
}

}  // namespace sqxer
