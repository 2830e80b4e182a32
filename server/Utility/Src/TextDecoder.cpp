#include "Utility/TextDecoder.h"

#include <unicode/ucnv.h>

#include "IcuStatus.h"

namespace sqxer {
namespace {

struct CloseConverter {
  void operator()(UConverter* converter) const { ucnv_close(converter); }
};
using Converter = std::unique_ptr<UConverter, CloseConverter>;

Converter OpenConverter(const char* name) {
  UErrorCode status = U_ZERO_ERROR;
  Converter converter(ucnv_open(name, &status));
  if (U_SUCCESS(status)) {
    ucnv_setToUCallBack(converter.get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr,
                        &status);
  }
  ThrowIfOutOfMemory(status);
  return U_SUCCESS(status) ? std::move(converter) : nullptr;
}

constexpr char kNoCharacter = '\xFF';

}  // namespace

struct TextDecoder::State {
  Converter from;
  Converter utf8;
  /// Characters between the two converters.
  UChar pivot[4096];
  UChar* pivotSource = pivot;
  UChar* pivotTarget = pivot;
  /// Bytes that are no character have been read; what stands for them is yet to be written.
  bool isBehindNoCharacter = false;
  bool isDone = false;
};

TextDecoder::TextDecoder(const std::string& encoding) {
  auto state = std::make_unique<State>();
  // An empty name would be that of the system's own encoding.
  state->from = encoding.empty() ? nullptr : OpenConverter(encoding.c_str());
  state->utf8 = OpenConverter("UTF-8");
  if (state->from != nullptr && state->utf8 != nullptr) state_ = std::move(state);
}

TextDecoder::~TextDecoder() = default;
TextDecoder::TextDecoder(TextDecoder&&) noexcept = default;
TextDecoder& TextDecoder::operator=(TextDecoder&&) noexcept = default;

std::size_t TextDecoder::Decode(std::string_view& in, bool isLast, char* out, std::size_t size) {
  State& state = *state_;
  if (state.isDone || (in.empty() && !isLast)) return 0;
  // No bytes need not be anywhere, but ICU wants a place.
  if (in.empty()) in = "";
  char* target = out;
  // Room for the byte that stands for no character.
  const char* const targetLimit = out + size - 1;
  const auto convert = [&](std::string_view& bytes, bool isEnd) {
    const char* source = bytes.data();
    UErrorCode status = U_ZERO_ERROR;
    ucnv_convertEx(state.utf8.get(), state.from.get(), &target, targetLimit, &source,
                   bytes.data() + bytes.size(), state.pivot, &state.pivotSource, &state.pivotTarget,
                   state.pivot + std::size(state.pivot), false, static_cast<UBool>(isEnd), &status);
    bytes.remove_prefix(static_cast<std::size_t>(source - bytes.data()));
    return status;
  };
  if (!state.isBehindNoCharacter) {
    const UErrorCode status = convert(in, isLast);
    ThrowIfOutOfMemory(status);
    state.isBehindNoCharacter = U_FAILURE(status) && status != U_BUFFER_OVERFLOW_ERROR;
    state.isDone = U_SUCCESS(status) && isLast && in.empty();
  }
  if (state.isBehindNoCharacter) {
    // What stands before is between the converters still.
    std::string_view nothing = "";
    if (convert(nothing, false) != U_BUFFER_OVERFLOW_ERROR) {
      *target++ = kNoCharacter;
      ucnv_resetToUnicode(state.from.get());
      state.isBehindNoCharacter = false;
    }
  }
  return static_cast<std::size_t>(target - out);
}

}  // namespace sqxer
