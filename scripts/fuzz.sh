#!/usr/bin/env bash
# Runs every libFuzzer target of a fuzz build for a while each, under the limits that
# make a blow-up a finding, with the seeds of every family. New inputs go to
# BUILD/corpus-TARGET, findings to BUILD/findings/. Each target runs in libFuzzer's fork
# mode with one worker, which records a finding and goes on, so that one slow seed does
# not end the run. Exit status 1 when a target found something.
#   scripts/fuzz.sh BUILD_DIR [SECONDS_PER_TARGET] [TARGET...]
set -uo pipefail
build=${1:?usage: fuzz.sh BUILD_DIR [SECONDS] [TARGET...]}
seconds=${2:-60}
root=$(cd "$(dirname "$0")/.." && pwd)
corpus=${ZM_CORPUS:-$root/../shared/corpus}
shift $(( $# > 1 ? 2 : 1 ))
targets=("$@")
[ ${#targets[@]} -eq 0 ] && targets=(fuzz_formats fuzz_options fuzz_plugin_file)
limits=(-rss_limit_mb=512 -malloc_limit_mb=256 -timeout=10)
keep_going=(-fork=1 -ignore_crashes=1 -ignore_ooms=1 -ignore_timeouts=1)

families=()
for dir in "$corpus"/*/; do
  [ -d "$dir" ] && families+=("$dir")
done

declare -A seeds=(
  [fuzz_formats]="$root/fuzz/corpus $root/tests/data ${families[*]}"
  [fuzz_options]="$root/fuzz/options-corpus"
  [fuzz_plugin_file]="$root/fuzz/plugin-corpus"
)
if [ -d "$build/bin/loader-plugins" ]; then
  seeds[fuzz_plugin_file]+=" $build/bin/loader-plugins"
fi

mkdir -p "$build/findings"
failed=0
for target in "${targets[@]}"; do
  mkdir -p "$build/corpus-$target"
  echo "== $target: $seconds s"
  before=$(ls "$build/findings" | grep -c "^$target-")
  # shellcheck disable=SC2086
  "$build/bin/$target" "${limits[@]}" "${keep_going[@]}" -max_total_time="$seconds" \
    -artifact_prefix="$build/findings/$target-" "$build/corpus-$target" ${seeds[$target]}
  if [ "$(ls "$build/findings" | grep -c "^$target-")" -gt "$before" ]; then
    echo "== $target found something: see $build/findings/"
    failed=1
  fi
done
exit $failed
