#!/usr/bin/env bash
# Runs clang-tidy over the sources of the two shared libraries, from the compile commands of a build folder.
#   cmake/tidy.sh BUILD_FOLDER [seconds]    stops with what it has after the given time (default 240)
set -uo pipefail
build=$1
limit=${2:-240}
cd "$(dirname "$0")/.."
commands=$build/compile_commands.json
# A precompiled header of g++ means nothing to clang-tidy, and these warnings exist in g++ only.
mapfile -t files < <(git ls-files 'server/Query/Execution/Expr/Src/*.cpp' 'server/Utility/Src/*.cpp')
findings=$(mktemp)
trap 'rm -f "$findings"' EXIT
printf '%s\n' "${files[@]}" | timeout "$limit" xargs -P "$(nproc)" -n 1 clang-tidy-16 -p "$(dirname "$commands")" --quiet 2>/dev/null | tee "$findings"
status=${PIPESTATUS[1]}
# What was found counts, also when the time ended before the rest was read.
if grep -q ': error: ' "$findings"; then exit 1; fi
if [ $status -eq 124 ]; then
  echo "clang-tidy: stopped after $limit s without a finding in what it had read"
  exit 0
fi
[ $status -eq 0 ] && echo "clang-tidy: ${#files[@]} sources are clean"
exit $status
