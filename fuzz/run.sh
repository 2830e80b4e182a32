#!/usr/bin/env bash
# fuzz/run.sh PRESET SECONDS [TARGET...]: runs targets of libFuzzer that are built, all of them if none is named, for so
# long each, on the seeds that the repository has. Inputs that end one are kept in build/fuzz-found; the status is then 1.
set -uo pipefail
cd "$(dirname "$0")/.." || exit 2
preset=$1 seconds=$2
shift 2
found=build/fuzz-found
mkdir -p "$found"
if [ $# -eq 0 ]; then
  set -- csv_slicer_fuzz csv_table_fuzz json_lines_fuzz packed_fuzz json_path_fuzz pattern_fuzz date_format_fuzz \
    decimal_fuzz statement_fuzz arrow_fuzz states_fuzz
fi

# With libFuzzer clang names the shared runtime behind our libraries, yet before the C library.
export ASAN_OPTIONS=verify_asan_link_order=0

status=0
for target in "$@"; do
  corpus=build/fuzz-corpus/$target
  fuzz/seeds.py "$target" "$corpus"
  options=(-max_len=4096)
  case $target in
    # Long texts pass the ends of blocks; it makes ordinary ones itself.
    csv_slicer_fuzz) options=(-max_len=16384 -len_control=0 -dict=fuzz/dictionaries/csv.dict) ;;
    csv_table_fuzz | packed_fuzz) options+=(-dict=fuzz/dictionaries/csv.dict) ;;
    json_lines_fuzz | json_path_fuzz) options+=(-dict=fuzz/dictionaries/json.dict) ;;
    statement_fuzz) options+=(-dict=fuzz/dictionaries/sql.dict -timeout=20) ;;
    date_format_fuzz) options+=(-dict=fuzz/dictionaries/formats.dict) ;;
  esac
  echo "== $target"
  if "build/$preset/bin/$target" -max_total_time="$seconds" -print_final_stats=1 -rss_limit_mb=6000 -malloc_limit_mb=3000 \
    -artifact_prefix="$found/$target-" "${options[@]}" "$corpus" >"$found/$target.log" 2>&1; then
    grep -E 'number_of_executed_units|average_exec' "$found/$target.log"
  else
    status=1
    tail -n 60 "$found/$target.log"
  fi
done
exit $status
