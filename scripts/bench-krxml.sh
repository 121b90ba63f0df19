#!/usr/bin/env bash
# End-to-end timing of krxml on the 10 MB purchase order: the best of five processes each, wall
# time and peak resident memory, beside a command-line XML reformatter when one is installed
# (xmllint, from Debian's libxml2-utils; it is no part of the build).
#
#   scripts/bench-krxml.sh [BUILD_DIR]     (default build/release; needs tools/krxml, bench/gen_po)
set -euo pipefail
BUILD=${1:-build/release}
KRXML=$BUILD/tools/krxml
GEN=$BUILD/bench/gen_po
for f in "$KRXML" "$GEN"; do
  [ -x "$f" ] || { echo "missing $f: build the krxml and gen_po targets first" >&2; exit 2; }
done
WORK=$(mktemp -d)
trap 'rm -rf "$WORK"' EXIT
"$GEN" --items 20000 > "$WORK/po.xml"
# Freed memory stays with the process, so that every run pays the same for its heap.
export GLIBC_TUNABLES=glibc.malloc.trim_threshold=4294967295:glibc.malloc.mmap_threshold=33554432

best() {  # label, command...: the fastest of five runs
  local label=$1; shift
  for _ in 1 2 3 4 5; do
    /usr/bin/time -f "%e s %M KB" "$@" 2>&1 >/dev/null | tail -1
  done | sort -n | head -1 | sed "s/^/$label: /"
}

best "krxml convert --no-format" "$KRXML" convert "$WORK/po.xml" --no-format -o "$WORK/k.xml"
best "krxml convert (formatted)" "$KRXML" convert "$WORK/po.xml" -o "$WORK/k2.xml"
best "krxml convert --to json" "$KRXML" convert "$WORK/po.xml" --to json -o "$WORK/k.json"
best "krxml convert to a pipe" sh -c "\"$KRXML\" convert \"$WORK/po.xml\" --no-format | cat >/dev/null"
if command -v xmllint >/dev/null; then
  best "xmllint --noblanks --output" xmllint --noblanks --output "$WORK/x.xml" "$WORK/po.xml"
fi
