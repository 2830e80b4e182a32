#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <string>

#include "Utility/StatementBudget.h"

namespace sqxer {
namespace {

uint64 ReadPhysicalMemory() {
  const long pages = sysconf(_SC_PHYS_PAGES);
  const long bytes = sysconf(_SC_PAGESIZE);
  return pages > 0 && bytes > 0 ? static_cast<uint64>(pages) * static_cast<uint64>(bytes) : 0;
}

/// The number in a file; nothing that counts as a limit where there is none.
uint64 ReadLimit(const std::string& path) {
  uint64 limit = 0;
  std::ifstream file(path);
  return file >> limit ? limit : StatementBudget::kNoLimit;
}

/// The least limit of the process's control group and those around it.
uint64 ReadControlGroupLimit() {
  uint64 least = StatementBudget::kNoLimit;
  std::ifstream groups("/proc/self/cgroup");
  // Each line is hierarchy:controllers:path.
  for (std::string line; std::getline(groups, line);) {
    const std::size_t first = line.find(':');
    const std::size_t second = line.find(':', first + 1);
    if (first == std::string::npos || second == std::string::npos) continue;
    const std::string controllers = line.substr(first + 1, second - first - 1);
    const bool isUnified = controllers.empty();
    if (!isUnified && ("," + controllers + ",").find(",memory,") == std::string::npos) continue;
    const std::string root = isUnified ? "/sys/fs/cgroup" : "/sys/fs/cgroup/memory";
    const char* const file = isUnified ? "/memory.max" : "/memory.limit_in_bytes";
    // In a container the root shown is its own group, whatever the path says.
    for (std::string path = line.substr(second + 1);;) {
      least = std::min(least, ReadLimit(root + path + file));
      const std::size_t slash = path.rfind('/');
      if (slash == std::string::npos) break;
      path.resize(slash);
    }
  }
  return least;
}

}  // namespace

uint64 GetMachineMemory() {
  static const uint64 memory = [] {
    const uint64 physical = ReadPhysicalMemory();
    const uint64 group = ReadControlGroupLimit();
    if (physical == 0) return group == StatementBudget::kNoLimit ? 0 : group;
    return std::min(physical, group);
  }();
  return memory;
}

}  // namespace sqxer
