#!/usr/bin/env bash
# Runs every fuzz target of a fuzz build for the given number of seconds, one after another,
# starting from the seeds in fuzz/corpus/<name>/. Inputs that crash are kept as
# <build>/findings/<name>/crash-*; the run fails if there is one.
# Usage: tools/run-fuzzers.sh BUILD_DIR SECONDS [TARGET...]
set -uo pipefail
build=$1
seconds=$2
shift 2
cd "$(dirname "$0")/.."
targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
  while read -r exe; do targets+=("${exe#fuzz_}"); done \
    < <(find "$build/fuzz" -maxdepth 1 -type f -executable -name 'fuzz_*' -printf '%f\n' | sort)
fi

failed=0
for name in "${targets[@]}"; do
  corpus="$build/corpus/$name"
  findings="$build/findings/$name"
  mkdir -p "$corpus" "$findings"
  [ -d "fuzz/corpus/$name" ] && cp -n fuzz/corpus/"$name"/* "$corpus"/ 2>/dev/null
  log="$build/findings/$name.log"
  QT_QPA_PLATFORM=offscreen "$build/fuzz/fuzz_$name" "$corpus" -max_total_time="$seconds" \
    -rss_limit_mb=2048 -timeout=10 -max_len=65536 -artifact_prefix="$findings/" \
    -print_final_stats=1 >"$log" 2>&1
  status=$?
  runs=$(grep -o 'stat::number_of_executed_units: *[0-9]*' "$log" | grep -o '[0-9]*$')
  secs=$(grep -o 'Done [0-9]* runs in [0-9]* second' "$log" | grep -o 'in [0-9]*' | grep -o '[0-9]*')
  if [ $status -ne 0 ]; then
    echo "fuzz_$name: FINDING (exit $status), see $log and $findings/"
    failed=1
  else
    echo "fuzz_$name: ${runs:-?} executions in ${secs:-$seconds} s, no finding"
  fi
done
exit $failed
