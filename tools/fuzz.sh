#!/usr/bin/env bash
# Builds the libFuzzer targets with clang, AddressSanitizer and
# UndefinedBehaviorSanitizer, and runs each for the given number of seconds
# (default 600). Corpora start from fuzz/corpus/<target>/ when present.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-600}

CC=clang CXX=clang++ cmake -S . -B build/fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DSKERRY_FUZZ=ON -DSKERRY_BENCH=OFF -DSKERRY_SANITIZE=address,undefined -DSKERRY_WERROR=ON >/dev/null
targets=()
for f in fuzz/*.cpp; do
  targets+=("fuzz_$(basename "$f" .cpp)")
done
cmake --build build/fuzz -j "$(nproc)" --target "${targets[@]}"

export UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1
# One target per core at a time; the first that finds something shows its log
# and fails the run.
run_one() {
  name=$1
  seconds=$2
  work=build/fuzz/corpus/$name
  mkdir -p "$work"
  seeds=()
  [ -d "fuzz/corpus/$name" ] && seeds=("fuzz/corpus/$name")
  echo "fuzz: $name for ${seconds}s"
  "build/fuzz/fuzz/fuzz_$name" -max_total_time="$seconds" -print_final_stats=0 "$work" \
    "${seeds[@]}" 2>"build/fuzz/$name.log" || { tail -50 "build/fuzz/$name.log"; return 1; }
}
export -f run_one
printf '%s\n' "${targets[@]#fuzz_}" |
  xargs -P "$(nproc)" -I{} bash -c 'run_one "$1" "$2"' _ {} "$seconds" || exit 1
echo "fuzz: all targets ran ${seconds}s without a finding"
