// Texts as decimals: the text of a number reads as it again, and sums, differences and products
// turn round and back as those of numbers do.
#include "Input.h"
#include "Utility/VelmarNumber.h"

namespace {

using namespace sqxer;

bool Read(const XeString& text, VelmarNumber& number) {
  bool isNumber = false;
  number = VelmarNumber::stringAsNumber(text.c_str(), static_cast<uint32>(text.size()), &isNumber);
  return isNumber;
}

void Expect(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "%s\n", what);
  std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  fuzz::Input input(data, size);
  VelmarNumber a, b, again;
  if (!Read(fuzz::Characters(input.Line()), a)) return 0;
  Expect(Read(a.asString(), again) && again == a && again.hash() == a.hash(), "its text");
  if (!Read(fuzz::Characters(input.Line()), b)) return 0;
  Expect((a < b) + (a == b) + (b < a) == 1, "order");
  Expect(!(a == b) || a.hash() == b.hash(), "hash");
  return 0;
}
