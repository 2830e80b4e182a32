#pragma once

#include <sys/types.h>

#include <exception>
#include <optional>
#include <string>

#include "OutputStream.h"

namespace sqxer {

/// A signal has come while a result was shown.
class ShowingInterrupted : public std::exception {
 public:
  const char* what() const noexcept override { return "cancelled"; }
};

/// Writes to the terminal, and what has more lines than it through the program of the environment's
/// PAGER. One that is left early has had enough: writing to it throws ReaderGone. A signal ends
/// what is written to the terminal itself: ShowingInterrupted.
class PagedOutput final : public ResultWriter {
 public:
  PagedOutput();
  /// Waits for the pager's end.
  ~PagedOutput() override;
  PagedOutput(const PagedOutput&) = delete;
  PagedOutput& operator=(const PagedOutput&) = delete;

  void Write(std::string_view bytes) override;
  bool IsSeenAtOnce() const override { return true; }
  bool IsBegun() const override { return isBegun_; }
  /// Whether there is a program for long results.
  bool HasPager() const { return !program_.empty(); }
  /// Nothing more comes: shows what is left, and waits until the pager is left. Throws OutputError
  /// or ReaderGone.
  void Finish();

 private:
  void Start();
  void WriteToTerminal(std::string_view bytes);
  void WaitForPager() noexcept;

  OutputStream terminal_{std::nullopt};
  /// Empty for none.
  std::string program_;
  std::size_t lines_ = 0;
  std::size_t mostLines_;
  /// What may still fit on the terminal.
  std::string held_;
  bool isBegun_ = false;
  int pipe_ = -1;
  pid_t pager_ = -1;
};

}  // namespace sqxer
