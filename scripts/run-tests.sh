#!/usr/bin/env bash
# Builds everything and runs every test:
#   1. a build with -Werror (library, tests, tools, benchmarks, examples), all tests and the
#      hostile-input table (bench_hostile);
#   2. a clang build of the library, tests and fuzz targets, instrumented for libFuzzer and the
#      sanitizers: the tests, then each fuzz target for a minute from its seed corpus
#      (scripts/fuzz.sh --smoke);
#   3. an install into a scratch prefix, a check of its headers and exports, and a consumer
#      built against the installed package (static and shared, CMake and pkg-config);
#   4. a build with AddressSanitizer and UndefinedBehaviorSanitizer and all tests;
#   5. a ThreadSanitizer build and the concurrency tests.
# --quick stops after step 1.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)
jobs=$(nproc)

"$root/scripts/install-deps.sh" --tests

echo "== -Werror build and tests"
cmake -S . -B build/werror -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKRXML_WERROR=ON
cmake --build build/werror -j "$jobs"
(cd build/werror && ctest --output-on-failure -j "$jobs")
# The hostile documents, each in a process of its own: refused or read within 1 GB, and in time
# (the bar is 5 s on a quiet machine; CI's is wider, which still catches a cost that grows
# faster than the input).
GLIBC_TUNABLES=glibc.malloc.trim_threshold=4294967295:glibc.malloc.mmap_threshold=33554432 \
  ./build/werror/bench/bench_hostile --time-bar 20

[ "${1:-}" = "--quick" ] && exit 0

echo "== clang build, tests and fuzz targets"
# Unoptimised for a short build; the long-number test, slow that way, runs in the other builds.
CC=clang CXX=clang++ cmake -S . -B build/clang -G Ninja -DCMAKE_BUILD_TYPE=Debug -DKRXML_WERROR=ON \
  -DKRXML_BUILD_FUZZ=ON -DKRXML_BUILD_BENCH=OFF -DKRXML_BUILD_EXAMPLES=OFF -DKRXML_BUILD_SHARED=OFF
cmake --build build/clang -j "$jobs"
(cd build/clang && ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1 \
   ctest --output-on-failure -j "$jobs" -E '^LongNumbers\.TwentyFiveThousandDigitFactors$')
scripts/fuzz.sh --smoke

echo "== install, installed headers and consumer"
rm -rf build/prefix build/consumer build/consumer-pc
cmake --install build/werror --prefix "$root/build/prefix" >/dev/null
"$root/scripts/check-install.sh" "$root/build/prefix"
cmake -S examples/consumer -B build/consumer -G Ninja -DCMAKE_PREFIX_PATH="$root/build/prefix" -DKRXML_WERROR=ON
cmake --build build/consumer
./build/consumer/krxml_consumer
./build/consumer/krxml_consumer_shared
mkdir -p build/consumer-pc
export PKG_CONFIG_PATH="$root/build/prefix/lib/pkgconfig:$root/build/prefix/lib/x86_64-linux-gnu/pkgconfig"
cxx_consumer=(g++ -std=c++17 -Wall -Wextra -Werror examples/consumer/main.cpp)
# shellcheck disable=SC2046  # pkg-config prints flags to be split
"${cxx_consumer[@]}" -o build/consumer-pc/krxml_consumer_shared $(pkg-config --cflags --libs krxmllib16)
LD_LIBRARY_PATH="$root/build/prefix/lib:$root/build/prefix/lib/x86_64-linux-gnu" ./build/consumer-pc/krxml_consumer_shared
# -l takes the shared library where both are installed: the archive is named for the static link.
# shellcheck disable=SC2046
"${cxx_consumer[@]}" -o build/consumer-pc/krxml_consumer $(pkg-config --static --cflags krxmllib16) \
  $(pkg-config --static --libs krxmllib16 | sed 's/-lkrxmllib16\b/-l:libkrxmllib16.a/')
if readelf -d build/consumer-pc/krxml_consumer | grep -q 'libkrxmllib16\.so'; then
  echo "the static pkg-config consumer needs the shared library"
  exit 1
fi
./build/consumer-pc/krxml_consumer

echo "== AddressSanitizer + UndefinedBehaviorSanitizer build and tests"
cmake -S . -B build/asan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DKRXML_SANITIZE=ON -DKRXML_WERROR=ON \
  -DKRXML_BUILD_BENCH=OFF -DKRXML_BUILD_SHARED=OFF
cmake --build build/asan -j "$jobs"
(cd build/asan && ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1 \
   ctest --output-on-failure -j "$jobs")
echo "== ThreadSanitizer build and concurrency tests"
# Step 5: the tests labelled "concurrency" under ThreadSanitizer. Only the programs with such
# cases are built, optimised, since every memory access is instrumented; a report fails the
# test at once.
cmake -S . -B build/tsan -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKRXML_TSAN=ON -DKRXML_WERROR=ON \
  -DKRXML_BUILD_BENCH=OFF -DKRXML_BUILD_EXAMPLES=OFF -DKRXML_BUILD_TOOLS=OFF -DKRXML_BUILD_SHARED=OFF
cmake --build build/tsan -j "$jobs" --target test_concurrency test_binarydata test_facets test_foundations test_untyped
(cd build/tsan && TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1 \
   ctest --output-on-failure -j "$jobs" -L concurrency)
echo "== all tests passed"
