"""What a run says of the machine that it ran on."""

import datetime
import os
import platform
import re
from pathlib import Path


def _find(pattern: str, path: str, otherwise: str) -> str:
    """What the pattern's group finds in a file of the system."""
    try:
        found = re.search(pattern, Path(path).read_text(encoding="utf-8"), re.MULTILINE)
    except OSError:
        return otherwise
    return found[1].strip() if found else otherwise


def cores() -> int:
    """The processors that this process may use."""
    return len(os.sched_getaffinity(0))


def machine() -> str:
    model = _find(r"^model name\s*:(.*)", "/proc/cpuinfo", platform.machine())
    memory = os.sysconf("SC_PHYS_PAGES") * os.sysconf("SC_PAGE_SIZE") / 2**30
    system = _find(r'^PRETTY_NAME="?([^"\n]*)', "/etc/os-release", platform.system())
    return f"{model}, {os.cpu_count()} processors, {round(memory)} GiB, {system}"


def load() -> float:
    """Processes that wanted a processor during the last minute: near 0 on a free machine."""
    return round(os.getloadavg()[0], 2)


def today() -> str:
    return datetime.datetime.now(datetime.UTC).date().isoformat()
