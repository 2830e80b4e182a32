"""Runs a program and tells what it took: `python -I -S launch.py PROGRAM ARGUMENT...` prints a line
of its status, wall time and processor time in nanoseconds and largest resident memory in bytes,
then what the program printed.

It imports next to nothing: the kernel counts the memory of whoever starts a program as the
program's own, so the figure is only right when this process is smaller.
"""

import os
import sys
import time

READ = 1 << 16


def main() -> None:
    out, into = os.pipe()
    start = time.perf_counter_ns()
    child = os.posix_spawn(
        sys.argv[1],
        sys.argv[1:],
        os.environ,
        file_actions=[(os.POSIX_SPAWN_DUP2, into, 1), (os.POSIX_SPAWN_CLOSE, out)],
    )
    os.close(into)
    printed = b""
    while piece := os.read(out, READ):
        printed += piece
    _, status, usage = os.wait4(child, 0)
    wall = time.perf_counter_ns() - start
    processor = round((usage.ru_utime + usage.ru_stime) * 1e9)
    figures = (os.waitstatus_to_exitcode(status), wall, processor, usage.ru_maxrss * 1024)
    sys.stdout.buffer.write(" ".join(map(str, figures)).encode() + b"\n" + printed)


if __name__ == "__main__":
    main()
