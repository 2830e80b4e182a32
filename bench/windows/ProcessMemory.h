#pragma once

#include <malloc.h>

#include <cstdint>
#include <fstream>
#include <stdexcept>
#include <string>

namespace sqxer::bench {

/// How far the process's resident memory rises above what it is at construction. One at a time: the
/// kernel keeps one high-water mark, which construction sets back.
class PeakMemory {
 public:
  PeakMemory() {
    // What was freed and is kept for later would hide what is taken.
    malloc_trim(0);
    std::ofstream clear("/proc/self/clear_refs");
    // 5 is the kernel's code for the mark.
    clear << '5' << std::flush;
    if (!clear)
      throw std::runtime_error("cannot reset the peak of memory in /proc/self/clear_refs");
    start_ = Read("VmHWM:");
  }
  uint64_t GetBytes() const { return Read("VmHWM:") - start_; }

 private:
  static uint64_t Read(const std::string& name) {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
      uint64_t kilobytes = 0;
      if (word == name && status >> kilobytes) return kilobytes * 1024;
    }
    throw std::runtime_error("/proc/self/status does not tell " + name);
  }

  uint64_t start_;
};

}  // namespace sqxer::bench
