#!/usr/bin/env bash
# Builds the benchmarks (Release, build/bench) and runs every bench_* program,
# printing what each one prints: its ratio against a baseline of the same run.
set -euo pipefail
cd "$(dirname "$0")/.."
cmake -S . -B build/bench -G Ninja -DCMAKE_BUILD_TYPE=Release -DSKERRY_BENCH=ON -DSKERRY_WERROR=ON >/dev/null
targets=()
for f in bench/*.cpp; do
  [ -e "$f" ] && targets+=("bench_$(basename "$f" .cpp)")
done
if [ ${#targets[@]} -eq 0 ]; then
  echo "bench: no benchmarks"
  exit 0
fi
cmake --build build/bench -j "${SKERRY_JOBS:-2}" --target "${targets[@]}"
for t in "${targets[@]}"; do
  echo "== $t"
  "build/bench/bench/$t"
done
