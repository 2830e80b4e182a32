#include <gtest/gtest.h>
#include <zlib.h>

#include "ByteSource.h"
#include "server/Query/Execution/Engine/SessionTesting.h"

namespace sqxer::test {
namespace {

/// Gives at most so many bytes at a time, as a pipe may.
class TricklingSource final : public ByteSource {
 public:
  TricklingSource(std::string bytes, std::size_t step) : bytes_(std::move(bytes)), step_(step) {}

  std::size_t Read(char* out, std::size_t size) override {
    const std::size_t count = std::min({size, step_, bytes_.size() - at_});
    bytes_.copy(out, count, at_);
    at_ += count;
    return count;
  }

 private:
  const std::string bytes_;
  const std::size_t step_;
  std::size_t at_ = 0;
};

/// A member of gzip data with everything that its header may have.
std::string PackWithNames(const std::string& text) {
  constexpr int kBestForText = 9;
  z_stream stream = {};
  deflateInit2(&stream, kBestForText, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY);
  gz_header header = {};
  unsigned char name[] = "t.csv", comment[] = "of a test", extra[] = {1, 0, 2};
  header.name = name;
  header.comment = comment;
  header.extra = extra;
  header.extra_len = sizeof extra;
  header.hcrc = 1;
  deflateSetHeader(&stream, &header);
  std::string packed(deflateBound(&stream, text.size()), '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
  stream.avail_in = static_cast<uInt>(text.size());
  stream.next_out = reinterpret_cast<Bytef*>(packed.data());
  stream.avail_out = static_cast<uInt>(packed.size());
  deflate(&stream, Z_FINISH);
  packed.resize(stream.total_out);
  deflateEnd(&stream);
  return packed;
}

/// The text, or why there is none.
std::string Unpack(const std::string& packed, std::size_t step, std::size_t room = 1000) {
  std::string text, block(room, '\0');
  const std::string error = ErrorOf("", [&] {
    const auto source = UnpackGzip(std::make_unique<TricklingSource>(packed, step), "t");
    while (const std::size_t count = source->Read(block.data(), room)) {
      text.append(block, 0, count);
    }
  });
  return error == "no error" ? text : error;
}

std::string MakeText() {
  std::string text;
  for (int i = 0; i < 300; ++i) text += std::to_string(i * 7919) + ",abcabc\n";
  return text;
}

}  // namespace

TEST(Unpacking, FilesTellHowMuchTheyHold) {
  const std::string text = MakeText();
  const std::string packed = PackWithNames(text);
  const TemporaryFolder folder;
  const auto tell = [&](const std::string& content) {
    return TellUnpackedBytes(InputFile(folder.Write("t", content)));
  };
  EXPECT_EQ(tell(packed), text.size());
  EXPECT_EQ(tell(packed + PackWithNames("a")), 1u);
  for (const std::string& other : {std::string(), text, packed.substr(0, 17)}) {
    EXPECT_EQ(tell(other), 0u);
  }
  // The header of a frame, with the length in one byte.
  EXPECT_EQ(tell("\x28\xB5\x2F\xFD\x20\x2A" + std::string(20, '\x01')), 42u);
}

TEST(Unpacking, TakesGzipDataInPieces) {
  const std::string text = MakeText();
  const std::string packed = PackWithNames(text) + PackWithNames("") + PackWithNames(text);
  for (const std::size_t step : {1, 2, 13, 100, 100000}) {
    for (const std::size_t room : {1, 64, 100000}) {
      EXPECT_EQ(Unpack(packed, step, room), text + text);
      EXPECT_EQ(Unpack(packed + std::string(9, '\0'), step, room), text + text);
    }
  }
}

TEST(Unpacking, RefusesGzipDataThatAreCutOrDamaged) {
  const std::string member = PackWithNames(MakeText());
  const std::string early = "\"t\" cannot be unpacked: its gzip data end too early";
  const std::string damaged = "\"t\" cannot be unpacked: its gzip data are damaged";
  for (std::size_t cut = 1; cut < member.size(); ++cut) {
    ASSERT_EQ(Unpack(member.substr(0, cut), 1000), early) << cut;
    ASSERT_EQ(Unpack(member + member.substr(0, cut), 7), early) << cut;
  }
  const auto withBit = [&](std::size_t place, int bit) {
    std::string bytes = member;
    bytes[place] = static_cast<char>(bytes[place] ^ 1 << bit);
    return Unpack(bytes, 1000);
  };
  // Magic, method, flags that nobody knows, the time through the header's checksum.
  for (const auto& [place, bit] : {std::pair(0, 0), {1, 3}, {2, 1}, {3, 5}, {3, 7}, {5, 0}}) {
    EXPECT_EQ(withBit(static_cast<std::size_t>(place), bit), damaged) << place;
  }
  // Checksum and length of the text.
  for (std::size_t place = member.size() - 8; place < member.size(); ++place) {
    EXPECT_EQ(withBit(place, 2), damaged) << place;
  }
  EXPECT_EQ(Unpack(member + std::string(3, '\0') + member, 1000), damaged);
  EXPECT_EQ(Unpack(member + "garbage", 1000), damaged);
}

}  // namespace sqxer::test
