#!/usr/bin/env bash
# Installs the Debian 12 packages the build needs, if any are missing.
#   install-deps.sh            what building the library, tools and sample needs
#   install-deps.sh --tests    plus what the tests and benchmarks need
set -euo pipefail

packages=(cmake ninja-build g++ pkg-config python3 libexpat1-dev libpcre2-dev zlib1g-dev)
if [ "${1:-}" = "--tests" ]; then
  packages+=(libgtest-dev libgmock-dev libgmp-dev libbenchmark-dev libpugixml-dev libxml2-dev)
fi

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "Installing: ${missing[*]}"
sudo_cmd=()
[ "$(id -u)" -ne 0 ] && sudo_cmd=(sudo)
"${sudo_cmd[@]}" apt-get update -qq
DEBIAN_FRONTEND=noninteractive "${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
