#!/usr/bin/env bash
# Builds the tests under a sanitizer in build/san-<kind> and runs them.
# Usage: tools/sanitize.sh address|undefined|thread [pattern]
#   address   AddressSanitizer with UndefinedBehaviorSanitizer
#   undefined UndefinedBehaviorSanitizer alone
#   thread    ThreadSanitizer
set -euo pipefail
cd "$(dirname "$0")/.."

kind=${1:-address}
pattern=${2:-}
case "$kind" in
  address) flags=address,undefined ;;
  undefined) flags=undefined ;;
  thread) flags=thread ;;
  *) echo "usage: $0 address|undefined|thread [pattern]" >&2; exit 2 ;;
esac

dir=build/san-$kind
cmake -S . -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DSKERRY_WERROR=ON \
  -DSKERRY_SANITIZE="$flags" -DSKERRY_BENCH=OFF >/dev/null
jobs=${SKERRY_JOBS:-2}
if [ -n "$pattern" ]; then
  # Only the test programs whose names match, e.g. "dispatcher|carrier".
  targets=$(cmake --build "$dir" --target help | sed -n 's/^\(test_[A-Za-z0-9_]*\):.*/\1/p' |
    grep -E "$pattern" || true)
  [ -n "$targets" ] && cmake --build "$dir" -j "$jobs" --target $targets
else
  cmake --build "$dir" -j "$jobs"
fi

export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}
export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1}
export TSAN_OPTIONS=${TSAN_OPTIONS:-halt_on_error=1:second_deadlock_stack=1}
if [ -n "$pattern" ]; then
  status=0
  for t in $targets; do
    exe=$(find "$dir/tests" -type f -name "$t" -perm -u+x | head -1)
    echo "== $t"
    "$exe" --gtest_brief=1 || status=1
  done
  exit $status
else
  ctest --test-dir "$dir" -j "$jobs" --output-on-failure
fi
