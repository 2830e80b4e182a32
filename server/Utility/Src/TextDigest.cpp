#include "Utility/TextDigest.h"

#include <openssl/err.h>
#include <openssl/evp.h>
#include <pthread.h>

#include <memory>
#include <new>

namespace sqxer {
namespace {

[[noreturn]] void ThrowNoMemory() {
  // What the library tells of it takes memory of the thread.
  ERR_clear_error();
  throw std::bad_alloc();
}

/// A digest's algorithm, looked up once, and what it works with on a thread.
class Digester {
 public:
  explicit Digester(const char* name)
      : algorithm_(EVP_MD_fetch(nullptr, name, nullptr), &EVP_MD_free),
        context_(EVP_MD_CTX_new(), &EVP_MD_CTX_free) {
    if (!algorithm_ || !context_) ThrowNoMemory();
  }

  /// Gives how many bytes stand at `out`. What can fail is memory.
  unsigned Compute(std::string_view bytes, unsigned char* out) {
    unsigned length = 0;
    const bool isDone = EVP_DigestInit_ex2(context_.get(), algorithm_.get(), nullptr) == 1 &&
                        EVP_DigestUpdate(context_.get(), bytes.data(), bytes.size()) == 1 &&
                        EVP_DigestFinal_ex(context_.get(), out, &length) == 1;
    if (!isDone) ThrowNoMemory();
    return length;
  }

 private:
  std::unique_ptr<EVP_MD, decltype(&EVP_MD_free)> algorithm_;
  std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context_;
};

struct Digesters {
  Digester md5{"MD5"};
  Digester sha256{"SHA256"};
};

/// Those of this thread. By a key rather than as thread_local: a thread that cannot note what it
/// has to destroy would end the process.
Digesters& OfThread() {
  static const pthread_key_t key = [] {
    pthread_key_t made;
    const auto destroy = [](void* held) { delete static_cast<Digesters*>(held); };
    if (pthread_key_create(&made, destroy) != 0) throw std::bad_alloc();
    return made;
  }();
  auto* known = static_cast<Digesters*>(pthread_getspecific(key));
  if (known != nullptr) return *known;
  auto fresh = std::make_unique<Digesters>();
  if (pthread_setspecific(key, fresh.get()) != 0) throw std::bad_alloc();
  return *fresh.release();
}

}  // namespace

void TextDigest::Write(Kind kind, std::string_view bytes, char* out) {
  Digesters& digesters = OfThread();
  unsigned char digest[EVP_MAX_MD_SIZE];
  const unsigned length =
      (kind == Kind::kMd5 ? digesters.md5 : digesters.sha256).Compute(bytes, digest);
  constexpr const char* kDigits = "0123456789abcdef";
  for (unsigned i = 0; i < length; ++i) {
    *out++ = kDigits[digest[i] >> 4];
    *out++ = kDigits[digest[i] & 15];
  }
}

}  // namespace sqxer
