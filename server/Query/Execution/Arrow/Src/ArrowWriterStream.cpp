#include <cerrno>
#include <new>

#include "ArrowWriter.h"

namespace sqxer {
namespace {

/// What a stream of ours holds until it is released.
class HeldStream {
 public:
  explicit HeldStream(std::unique_ptr<ArrowProducer> producer) : producer_(std::move(producer)) {}

  int GetSchema(ArrowSchema* out) {
    return Try([&] { producer_->WriteSchema(out); });
  }
  int GetNext(ArrowArray* out) {
    return Try([&] {
      // Behind the last one comes one that is released.
      if (!producer_->WriteNext(out)) *out = {};
    });
  }
  const char* GetError() const { return status_ == 0 ? nullptr : error_.c_str(); }

 private:
  /// No exception may reach the caller, who may be written in another language.
  template <class Action>
  int Try(Action&& action) noexcept {
    if (status_ != 0) return status_;
    try {
      action();
    } catch (const std::bad_alloc&) {
      Fail(ENOMEM, "out of memory");
    } catch (const std::exception& error) {
      Fail(EINVAL, error.what());
    } catch (...) {
      Fail(EINVAL, "the rows broke off");
    }
    return status_;
  }
  void Fail(int status, const char* text) noexcept {
    status_ = status;
    try {
      error_ = text;
    } catch (const std::bad_alloc&) {
      error_.clear();
    }
  }

  const std::unique_ptr<ArrowProducer> producer_;
  int status_ = 0;
  std::string error_;
};

HeldStream& HeldBy(ArrowArrayStream* stream) {
  return *static_cast<HeldStream*>(stream->private_data);
}

}  // namespace

void GiveArrowStream(std::unique_ptr<ArrowProducer> producer, ArrowArrayStream* out) {
  auto held = std::make_unique<HeldStream>(std::move(producer));
  out->get_schema = [](ArrowArrayStream* stream, ArrowSchema* schema) {
    return HeldBy(stream).GetSchema(schema);
  };
  out->get_next = [](ArrowArrayStream* stream, ArrowArray* array) {
    return HeldBy(stream).GetNext(array);
  };
  out->get_last_error = [](ArrowArrayStream* stream) { return HeldBy(stream).GetError(); };
  out->release = [](ArrowArrayStream* stream) {
    delete &HeldBy(stream);
    stream->private_data = nullptr;
    stream->release = nullptr;
  };
  out->private_data = held.release();
}

}  // namespace sqxer
