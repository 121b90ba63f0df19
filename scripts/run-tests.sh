#!/usr/bin/env bash
# Builds everything and runs every test:
#   1. a build with -Werror (library, tests, tools, benchmarks, examples) and all tests;
#   2. an install into a scratch prefix and a consumer built against the installed package;
#   3. a build with AddressSanitizer and UndefinedBehaviorSanitizer and all tests.
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

[ "${1:-}" = "--quick" ] && exit 0

echo "== install and consumer"
rm -rf build/prefix build/consumer build/consumer-pc
cmake --install build/werror --prefix "$root/build/prefix" >/dev/null
cmake -S examples/consumer -B build/consumer -G Ninja -DCMAKE_PREFIX_PATH="$root/build/prefix" -DKRXML_WERROR=ON
cmake --build build/consumer
./build/consumer/krxml_consumer
mkdir -p build/consumer-pc
PKG_CONFIG_PATH="$root/build/prefix/lib/pkgconfig:$root/build/prefix/lib/x86_64-linux-gnu/pkgconfig" \
  sh -c 'g++ -std=c++17 -Wall -Wextra -Werror examples/consumer/main.cpp -o build/consumer-pc/krxml_consumer \
         $(pkg-config --cflags krxmllib16) $(pkg-config --static --libs krxmllib16)'
LD_LIBRARY_PATH="$root/build/prefix/lib" ./build/consumer-pc/krxml_consumer

echo "== AddressSanitizer + UndefinedBehaviorSanitizer build and tests"
cmake -S . -B build/asan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DKRXML_SANITIZE=ON -DKRXML_WERROR=ON \
  -DKRXML_BUILD_BENCH=OFF -DKRXML_BUILD_SHARED=OFF
cmake --build build/asan -j "$jobs"
(cd build/asan && ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1 \
   ctest --output-on-failure -j "$jobs")
echo "== all tests passed"
