#!/usr/bin/env bash
# Runs each fuzz target of the fuzz build in BUILD_DIR for SECONDS seconds, starting from the
# committed seeds and regression inputs plus what earlier runs found (BUILD_DIR/corpus/TARGET).
# Inputs that crash, hang or exhaust memory are written to BUILD_DIR/findings/TARGET/; the
# command that reproduces each is printed at the end. Exits 1 when any target found something.
#
# usage: run-fuzz.sh BUILD_DIR SECONDS [TARGET...]
set -uo pipefail
build=$(realpath "$1")
seconds=$2
shift 2
here=$(dirname "$(realpath "$0")")
targets=("$@")
[ ${#targets[@]} -eq 0 ] && targets=(load reader tools append check)
status=0
for target in "${targets[@]}"; do
  corpus="$build/corpus/$target"
  findings="$build/findings/$target"
  mkdir -p "$corpus" "$findings"
  echo "fuzzing $target for $seconds s"
  "$build/fuzz/fuzz_$target" "$corpus" "$here/seeds" "$here/regressions" \
    -max_total_time="$seconds" -rss_limit_mb=2048 -timeout=10 -print_final_stats=1 \
    -artifact_prefix="$findings/" 2>"$build/fuzz-$target.log"
  grep -E "^stat::number_of_executed_units|^stat::peak_rss_mb" "$build/fuzz-$target.log" |
    sed "s/^/  /"
  found=$(find "$findings" -type f | sort)
  if [ -n "$found" ]; then
    status=1
    echo "  $target found inputs that fail (log: $build/fuzz-$target.log); reproduce with:"
    for f in $found; do
      echo "    $build/fuzz/fuzz_$target $f"
    done
    echo "  then copy each into $here/regressions/ once fixed"
  fi
done
exit $status
