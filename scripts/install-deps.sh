#!/usr/bin/env bash
# Installs the Debian 12 packages the build needs, if any are missing.
#   install-deps.sh            what building the library, tools and sample needs
#   install-deps.sh --tests    plus what the tests, benchmarks, the clang and fuzz build and the
#                              Fast Infoset interop tests need
set -euo pipefail

packages=(cmake ninja-build g++ pkg-config libexpat1-dev libpcre2-dev zlib1g-dev)
if [ "${1:-}" = "--tests" ]; then
  packages+=(libgtest-dev libgmock-dev libgmp-dev libbenchmark-dev libpugixml-dev libxml2-dev locales
             clang libclang-rt-14-dev binutils)
  # The Fast Infoset interop tests read the library's output with an independent implementation
  # (../shared/tools/fi-interop), which is compiled on first use: a JDK, not only a runtime.
  packages+=(default-jdk-headless libfastinfoset-java)
fi

sudo_cmd=()
[ "$(id -u)" -ne 0 ] && sudo_cmd=(sudo)

# A test proves that numbers are written the same under a locale with a decimal comma.
add_test_locale() {
  [ "${1:-}" = "--tests" ] || return 0
  locale -a 2>/dev/null | grep -qi '^de_DE\.utf-\?8$' && return 0
  "${sudo_cmd[@]}" localedef -i de_DE -f UTF-8 de_DE.UTF-8 || echo "warning: could not build the de_DE.UTF-8 locale"
}

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "Installing: ${missing[*]}"
  "${sudo_cmd[@]}" apt-get update -qq
  DEBIAN_FRONTEND=noninteractive "${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
add_test_locale "${1:-}"
