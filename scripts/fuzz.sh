#!/usr/bin/env bash
# Runs the fuzz targets of the clang build (build/clang, made by scripts/run-tests.sh); builds
# nothing.
#   scripts/fuzz.sh --smoke [SECONDS] [TARGET...]
#       each target for SECONDS (60) from its seed corpus; any finding fails (exit 1) with the
#       tail of the log and the place of the input. CI runs this.
#   scripts/fuzz.sh --campaign SECONDS [TARGET...]
#       each target for SECONDS, one after the other, going on past findings and collecting
#       them; the corpus grows from run to run in build/clang/fuzz-campaign. Writes
#       build/clang/fuzz-report.md; exit 1 if anything was found.
# TARGET is a name without the fuzz_ prefix (document, json, ...); all by default. The seed
# corpus in fuzz/corpus is only read: new inputs go to a scratch folder under build/clang.
set -euo pipefail
cd "$(dirname "$0")/.."
build=build/clang

usage()
{
    echo "usage: $0 --smoke [SECONDS] [TARGET...] | --campaign SECONDS [TARGET...]" >&2
    exit 2
}

mode=${1:-}
shift || true
case "$mode" in
--smoke)
    seconds=60
    if [ $# -gt 0 ] && [[ "$1" =~ ^[0-9]+$ ]]; then
        seconds=$1
        shift
    fi
    ;;
--campaign)
    [ $# -gt 0 ] && [[ "$1" =~ ^[0-9]+$ ]] || usage
    seconds=$1
    shift
    ;;
*)
    usage
    ;;
esac

targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
    for src in fuzz/fuzz_*.cpp; do
        name=$(basename "$src" .cpp)
        targets+=("${name#fuzz_}")
    done
fi

# Documents need room for some structure; values and texts explore best when short.
max_len()
{
    case "$1" in
    document | fastinfoset | json | untyped | po | compressed) echo 16384 ;;
    *) echo 4096 ;;
    esac
}

export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1}

for target in "${targets[@]}"; do
    if [ ! -x "$build/fuzz/fuzz_$target" ]; then
        echo "$build/fuzz/fuzz_$target is missing: build $build first (scripts/run-tests.sh)" >&2
        exit 1
    fi
done

if [ "$mode" = --smoke ]; then
    failed=0
    for target in "${targets[@]}"; do
        scratch=$build/fuzz-smoke/$target
        rm -rf "$scratch" && mkdir -p "$scratch/corpus" "$scratch/artifacts"
        log=$build/fuzz-smoke/$target.log
        if ! "$build/fuzz/fuzz_$target" "$scratch/corpus" "fuzz/corpus/$target" -max_total_time="$seconds" \
             -timeout=10 -rss_limit_mb=2048 -max_len="$(max_len "$target")" \
             -artifact_prefix="$scratch/artifacts/" >"$log" 2>&1; then
            tail -n 60 "$log"
            echo "fuzz_$target failed; the input is in $scratch/artifacts: $(ls "$scratch/artifacts" | tr '\n' ' ')"
            failed=1
            continue
        fi
        echo "fuzz_$target: $(grep -E '^Done' "$log" || tail -n 1 "$log")"
    done
    exit $failed
fi

# Campaign: -fork=1 runs the target in a child process that is started again after a crash,
# timeout or running out of memory, so that the run goes on and collects every finding.
root=$build/fuzz-campaign
report=$build/fuzz-report.md
mkdir -p "$root"
{
    echo "# Fuzz campaign"
    echo
    echo "$(date -u '+%Y-%m-%d %H:%M UTC'), $seconds s per target, build $build."
    echo
    echo "| target | seconds | executions | corpus | findings |"
    echo "| --- | ---: | ---: | ---: | --- |"
} >"$report"
found=0
for target in "${targets[@]}"; do
    corpus=$root/corpus/$target
    artifacts=$root/artifacts/$target
    log=$root/$target.log
    # The corpus grows from run to run; the findings are this run's.
    rm -rf "$artifacts"
    mkdir -p "$corpus" "$artifacts"
    start=$(date +%s)
    "$build/fuzz/fuzz_$target" "$corpus" "fuzz/corpus/$target" -fork=1 -ignore_crashes=1 -ignore_timeouts=1 \
        -ignore_ooms=1 -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
        -max_len="$(max_len "$target")" -artifact_prefix="$artifacts/" >"$log" 2>&1 || true
    elapsed=$(($(date +%s) - start))
    # The fork mode's status lines: "#EXECS: cov: .. corp: N .. oom/timeout/crash: a/b/c ..".
    execs=$(grep -oE '^#[0-9]+: cov' "$log" | tail -n 1 | tr -dc '0-9')
    execs=${execs:-0}
    size=$(find "$corpus" -type f | wc -l)
    count=$(find "$artifacts" -type f | wc -l)
    names=$(ls "$artifacts" | head -n 5 | tr '\n' ' ' | sed 's/ $//; s/ /, /g')
    [ "$count" -gt 5 ] && names="$count: $names, ..."
    [ "$count" -gt 0 ] && found=1
    echo "| $target | $elapsed | $execs | $size | ${names:-none} |" >>"$report"
    echo "fuzz_$target: $elapsed s, $execs executions, corpus $size, findings: ${names:-none}"
done
echo >>"$report"
echo "Artifacts in $root/artifacts/TARGET, logs in $root/TARGET.log." >>"$report"
echo "report: $report"
exit $found
