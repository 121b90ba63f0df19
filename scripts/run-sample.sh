#!/usr/bin/env bash
# Builds the library, the sample program and the krxml converter, and runs both on the
# document kept in examples/data: the sample reads the purchase order into its bound classes,
# prints a summary, changes it and writes it back.
set -euo pipefail
cd "$(dirname "$0")/.."
"$(pwd)/scripts/install-deps.sh"
cmake -S . -B build/release -G Ninja -DCMAKE_BUILD_TYPE=Release -DKRXML_BUILD_TESTS=OFF -DKRXML_BUILD_BENCH=OFF
cmake --build build/release -j "$(nproc)" --target krxml po_summary
echo "== po_summary examples/data/purchase-order.xml"
./build/release/examples/po_summary examples/data/purchase-order.xml
echo "== krxml convert examples/data/purchase-order.xml --indent '  '"
./build/release/tools/krxml convert examples/data/purchase-order.xml --indent '  '
