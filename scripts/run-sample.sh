#!/usr/bin/env bash
# Builds the library and its sample program, and runs the sample on the document kept in
# examples/data.
set -euo pipefail
cd "$(dirname "$0")/.."
"$(pwd)/scripts/install-deps.sh"
cmake -S . -B build/release -G Ninja -DCMAKE_BUILD_TYPE=Release -DKRXML_BUILD_TESTS=OFF -DKRXML_BUILD_BENCH=OFF
cmake --build build/release -j "$(nproc)" --target po_summary
./build/release/examples/po_summary examples/data/purchase-order.xml
