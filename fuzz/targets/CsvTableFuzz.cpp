// Texts of CSV as tables: the types that are found, the values, and the errors, by one thread and
// by several, kept and not kept. The first byte says how they are read.
#include "TableFuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  using namespace sqxer;
  fuzz::Input input(data, size);
  const unsigned how = input.Byte();
  TextTableOptions options;
  if (how % 4 == 1) options.file.delimiter = ";\t| "[how / 4 % 4];
  options.file.hasHeader = how / 16 % 2 == 0;
  if (how / 32 % 2 == 1) options.nullText = "\\N";
  if (how / 64 % 4 == 3) options.file.encoding = "latin1";
  fuzz::ReadTable(input.Rest(), options);
  return 0;
}
