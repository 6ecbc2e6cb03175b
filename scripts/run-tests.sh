#!/usr/bin/env bash
# The whole test suite, headless: the QtTest suite in a debug build, the same
# suite again under AddressSanitizer + UndefinedBehaviorSanitizer (+ leak
# checking), and a short bounded run of every fuzzer over its seed corpus.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh --test
export QT_QPA_PLATFORM=offscreen
jobs=$(nproc)

echo "== debug build and tests"
cmake --preset dev >/dev/null
cmake --build --preset dev -j"$jobs"
ctest --preset dev

echo "== Debian package"
cpack --config build/dev/CPackConfig.cmake -B build/dev/package >/dev/null
deb=$(ls build/dev/package/zelto-profiler_*.deb)
contents=$(dpkg-deb -c "$deb")
grep -q './usr/bin/zelto-profiler$' <<<"$contents"
grep -q './usr/bin/zelto-capture$' <<<"$contents"
grep -q libqt6widgets6 <<<"$(dpkg-deb -f "$deb" Depends)"
echo "package: $deb"

echo "== sanitizer build and tests"
cmake --preset asan >/dev/null
cmake --build --preset asan -j"$jobs"
ctest --preset asan

echo "== fuzzers (short runs)"
cmake --preset fuzz -DZELTO_FUZZ_SECONDS="${ZELTO_FUZZ_SECONDS:-20}" >/dev/null
cmake --build --preset fuzz -j"$jobs"
ctest --preset fuzz
