#include "Utility/TextDigest.h"

#include <openssl/evp.h>

#include <memory>
#include <new>

namespace sqxer {
namespace {

/// A digest's algorithm, looked up once, and what it works with on a thread.
class Digester {
 public:
  explicit Digester(const char* name)
      : algorithm_(EVP_MD_fetch(nullptr, name, nullptr), &EVP_MD_free),
        context_(EVP_MD_CTX_new(), &EVP_MD_CTX_free) {}

  /// Gives how many bytes stand at `out`. What can fail is memory.
  unsigned Compute(std::string_view bytes, unsigned char* out) {
    unsigned length = 0;
    const bool isDone = algorithm_ && context_ &&
                        EVP_DigestInit_ex2(context_.get(), algorithm_.get(), nullptr) == 1 &&
                        EVP_DigestUpdate(context_.get(), bytes.data(), bytes.size()) == 1 &&
                        EVP_DigestFinal_ex(context_.get(), out, &length) == 1;
    if (!isDone) throw std::bad_alloc();
    return length;
  }

 private:
  std::unique_ptr<EVP_MD, decltype(&EVP_MD_free)> algorithm_;
  std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context_;
};

}  // namespace

void TextDigest::Write(Kind kind, std::string_view bytes, char* out) {
  thread_local Digester md5("MD5");
  thread_local Digester sha256("SHA256");
  unsigned char digest[EVP_MAX_MD_SIZE];
  const unsigned length = (kind == Kind::kMd5 ? md5 : sha256).Compute(bytes, digest);
  constexpr const char* kDigits = "0123456789abcdef";
  for (unsigned i = 0; i < length; ++i) {
    *out++ = kDigits[digest[i] >> 4];
    *out++ = kDigits[digest[i] & 15];
  }
}

}  // namespace sqxer
