#!/usr/bin/env bash
# Checks an installed package against the header and export policy:
#   - the installed headers are exactly the umbrella krxmllib.h and what it includes,
#     transitively, and none of the library's private headers is among them;
#   - each installed header compiles alone (and twice in a row), against the prefix only;
#   - the shared library, if installed, exports the public classes and none of the internals.
#   check-install.sh PREFIX
set -euo pipefail
prefix=$(cd "$1" && pwd)
src="$(cd "$(dirname "$0")/.." && pwd)/krxmllib"
incdir="$prefix/include/krxmllib"
# Headers that must never reach an installed header: the parser adapter, the node pools, the
# arena, the parser's receiver interface and the operating-system layer.
private=(expatreader.h nodepool.h objectarena.h xmlcontentsink.h platform.h)
status=0
fail() { echo "check-install: $*" >&2; status=1; }

[ -f "$incdir/krxmllib.h" ] || { echo "check-install: no krxmllib.h under $incdir" >&2; exit 1; }

# The umbrella's closure over the quoted includes of the source tree.
closure=()
queue=(krxmllib.h)
while [ ${#queue[@]} -gt 0 ]; do
  h=${queue[0]}
  queue=("${queue[@]:1}")
  case " ${closure[*]} " in *" $h "*) continue ;; esac
  closure+=("$h")
  [ -f "$src/$h" ] || { fail "$h is included but is not in krxmllib/"; continue; }
  while IFS= read -r inc; do queue+=("$inc"); done < <(sed -n 's/^[[:space:]]*#[[:space:]]*include[[:space:]]*"\([^"]*\)".*/\1/p' "$src/$h")
done

installed=()
while IFS= read -r h; do installed+=("$h"); done < <(cd "$incdir" && find . -type f | sed 's|^\./||' | sort)

for h in "${installed[@]}"; do
  case " ${closure[*]} " in *" $h "*) ;; *) fail "installed $h is not reached from krxmllib.h" ;; esac
done
for h in "${closure[@]}"; do
  [ -f "$incdir/$h" ] || fail "krxmllib.h reaches $h, which is not installed"
done
for h in "${private[@]}"; do
  [ -e "$incdir/$h" ] && fail "private header $h is installed"
  case " ${closure[*]} " in *" $h "*) fail "private header $h is reached from krxmllib.h" ;; esac
done

# Each header alone in a translation unit (twice, for the include guard), with the install
# prefix as the only include path: g++ as a consumer of the shared library, clang++ (where
# installed) as one of the static library.
tudir=$(mktemp -d)
trap 'rm -rf "$tudir"' EXIT
for h in "${installed[@]}"; do
  printf '#include <%s>\n#include <%s>\n' "$h" "$h" >"$tudir/${h%.h}.cpp"
done
runs=("g++")
command -v clang++ >/dev/null && runs+=("clang++ -DKRXML_STATIC")
for run in "${runs[@]}"; do
  read -r -a cxx <<<"$run"
  printf '%s\n' "$tudir"/*.cpp |
    xargs -P "$(nproc)" -n 1 "${cxx[@]}" -std=c++17 -Wall -Wextra -Werror -fsyntax-only -I"$incdir" ||
    fail "a header does not compile alone with $run (see above)"
done

# Exports of the shared library: public classes yes, internal classes and helpers no.
so=$(find "$prefix" -name 'libkrxmllib16.so.*' -type f | head -n 1)
if [ -n "$so" ]; then
  exports=$(nm -DC --defined-only "$so")
  for want in 'KrXmlLib16::CXmlDocument::LoadXml' 'typeinfo for KrXmlLib16::CKrException' \
              'typeinfo for KrXmlLib16::CXmlObjectBase' 'KrXmlLib16::FormatString' 'CInstanceMonitor::CInstanceMonitor'; do
    grep -qF "$want" <<<"$exports" || fail "$so does not export $want"
  done
  leaked=$(grep -E '^[0-9a-f]+ [A-Za-z] (typeinfo for |typeinfo name for |vtable for |VTT for |guard variable for )?KrXmlLib16::(Platform|CExpatReader|CNodePool|CObjectArena|CXmlDocument::CState|CElementBuilder|\(anonymous namespace\))::' <<<"$exports" || true)
  [ -z "$leaked" ] || fail "$so exports internals:"$'\n'"$leaked"
  echo "check-install: $(wc -l <<<"$exports") symbols exported by $(basename "$so")"
fi

[ $status -eq 0 ] && echo "check-install: ${#installed[@]} headers installed, each compiles alone; no private header"
exit $status
