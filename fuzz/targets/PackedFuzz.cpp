// Packed files: the input as it stands, which is damaged most of the time, or packed first, whole,
// cut or with one byte changed. The first byte says which.
#include <zlib.h>

#include "TableFuzz.h"

namespace {

std::string Pack(std::string_view text) {
  z_stream stream{};
  if (deflateInit2(&stream, 6, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY) != Z_OK) std::abort();
  std::string packed(deflateBound(&stream, text.size()) + 32, '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
  stream.avail_in = static_cast<uInt>(text.size());
  stream.next_out = reinterpret_cast<Bytef*>(packed.data());
  stream.avail_out = static_cast<uInt>(packed.size());
  if (deflate(&stream, Z_FINISH) != Z_STREAM_END) std::abort();
  packed.resize(stream.total_out);
  deflateEnd(&stream);
  return packed;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  using namespace sqxer;
  fuzz::Input input(data, size);
  const unsigned how = input.Byte();
  const std::size_t place = input.Byte() * 256 + input.Byte();
  std::string file(input.Rest());
  if (how % 4 != 0) {
    // Two members, one behind the other.
    const std::size_t middle = how / 4 % 2 == 0 ? file.size() : file.size() / 2;
    file = Pack(input.Rest().substr(0, middle)) +
           (middle < file.size() ? Pack(input.Rest().substr(middle)) : "");
    if (how % 4 == 2) file.resize(place % (file.size() + 1));
    if (how % 4 == 3) file[place % file.size()] = static_cast<char>(how ^ place);
  }
  fuzz::ReadTable(file, {});
  return 0;
}
