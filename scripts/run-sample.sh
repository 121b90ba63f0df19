#!/usr/bin/env bash
# Builds the library, the krxml converter and the sample program, and runs both on the
# document kept in examples/data.
set -euo pipefail
cd "$(dirname "$0")/.."
"$(pwd)/scripts/install-deps.sh"
cmake -S . -B build/release -G Ninja -DCMAKE_BUILD_TYPE=Release -DKRXML_BUILD_TESTS=OFF -DKRXML_BUILD_BENCH=OFF
cmake --build build/release -j "$(nproc)" --target krxml po_summary
echo "== krxml convert examples/data/purchase-order.xml --indent '  '"
./build/release/tools/krxml convert examples/data/purchase-order.xml --indent '  '
echo "== po_summary examples/data/purchase-order.xml"
./build/release/examples/po_summary examples/data/purchase-order.xml
