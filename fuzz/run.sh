#!/usr/bin/env bash
# Builds the libFuzzer targets with clang (address and undefined-behaviour sanitizers) outside
# the main build, then runs each from its committed seed corpus for a bounded time. Any crash,
# sanitizer report, leak or time-out fails the run and leaves the input under
# <build>/artifacts/ with the command that replays it.
#
#   fuzz/run.sh                  build, then fuzz every target (40 s of fuzzing in all)
#   fuzz/run.sh --build-only     build only
#   fuzz/run.sh numbers replies  fuzz only these targets
#
# Environment: VESK_FUZZ_BUILD (build folder, default build/fuzz), VESK_FUZZ_SECONDS (total
# fuzzing time, default 40), VESK_FUZZ_JOBS (targets fuzzed at once, default 2), CXX.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
out=${VESK_FUZZ_BUILD:-$root/build/fuzz}
total=${VESK_FUZZ_SECONDS:-40}
jobs=${VESK_FUZZ_JOBS:-2}
cxx=${CXX:-}
if [[ -z "$cxx" || "$cxx" != *clang* ]]; then
    cxx=$(command -v clang++ || command -v clang++-14 || true)
fi
if [[ -z "$cxx" ]]; then
    echo "fuzz: clang++ is needed (Debian: clang, libclang-rt-dev)" >&2
    exit 2
fi

build_only=0
wanted=()
for arg in "$@"; do
    case "$arg" in
        --build-only) build_only=1 ;;
        -h | --help) sed -n '2,14p' "$0"; exit 0 ;;
        *) wanted+=("$arg") ;;
    esac
done

all_targets=()
for f in "$root"/fuzz/targets/*.cpp; do
    all_targets+=("$(basename "$f" .cpp)")
done
targets=("${wanted[@]:-${all_targets[@]}}")
for t in "${targets[@]}"; do
    [[ -f "$root/fuzz/targets/$t.cpp" ]] || { echo "fuzz: no target '$t'" >&2; exit 2; }
done

mkdir -p "$out"
start=$(date +%s)

# --- build: a generated ninja file, so that unchanged objects are kept between runs ---------
# -O1 keeps the sanitizers' overhead low; everything shares one precompiled standard header.
common="-std=c++20 -g1 -fno-omit-frame-pointer -fsanitize=fuzzer-no-link,address,undefined"
common+=" -fno-sanitize-recover=undefined -I$root -DVESK_VERSION=\\\"fuzz\\\""
own_warnings="-Wall -Wextra -Wpedantic -Werror -Wno-missing-field-initializers"

sources=()
while IFS= read -r f; do sources+=("$f"); done < <(
    cd "$root" && find vesk4710 components/comm components/splitter components/probes \
        components/outputfile components/readingfile -name '*.cpp' | sort
    echo components/registry/SystemError.cpp
    cd "$root" && find tests/testsupport -name 'Fake*.cpp' | sort
)
support=()
while IFS= read -r f; do support+=("$f"); done < <(cd "$root" && find fuzz/support -name '*.cpp' | sort)

pch_header="$root/fuzz/support/StdPch.h"
{
    echo "ninja_required_version = 1.10"
    echo "cxx = $cxx"
    echo "common = $common"
    echo "own = $own_warnings"
    echo "rule pch"
    echo "  command = \$cxx \$common -O1 -x c++-header \$in -o \$out -MD -MF \$out.d"
    echo "  depfile = \$out.d"
    echo "  deps = gcc"
    echo "  description = PCH \$in"
    echo "rule cxx"
    echo "  command = \$cxx \$common -O1 \$flags -include-pch pch/std.pch -c \$in -o \$out -MD -MF \$out.d"
    echo "  depfile = \$out.d"
    echo "  deps = gcc"
    echo "  description = CXX \$in"
    # A project source this clang cannot compile is built uninstrumented by g++, with a note,
    # so that one unsupported construct does not stop the fuzzing of everything else.
    echo "rule cxx_fallback"
    echo "  command = \$cxx \$common \$opt -c \$in -o \$out -MD -MF \$out.d 2>\$out.log || { echo \"fuzz: note: \$in needs g++ (clang: \$\$(grep -m1 error: \$out.log))\"; g++ -std=c++20 -O1 -I$root -DVESK_VERSION=\\\"fuzz\\\" -c \$in -o \$out -MD -MF \$out.d; }"
    echo "  depfile = \$out.d"
    echo "  deps = gcc"
    echo "  description = CXX \$in"
    echo "rule strings"
    echo "  command = cmake -DIN=\$in -DOUT=\$out -P $root/vesk4710/support/EmbedStrings.cmake"
    echo "  description = STRINGS \$out"
    echo "rule ar"
    echo "  command = rm -f \$out && ar qcs \$out \$in"
    echo "  description = AR \$out"
    echo "rule link"
    echo "  command = \$cxx \$common -O1 -fsanitize=fuzzer \$in -o \$out -ldl -lpthread"
    echo "  description = LINK \$out"
    echo "build pch/std.pch: pch $pch_header"
    echo "build gen/StringTableData.cpp: strings $root/vesk4710/support/strings.tsv | $root/vesk4710/support/EmbedStrings.cmake"
    objs=()
    for s in "${sources[@]}"; do
        o="obj/${s%.cpp}.o"
        echo "build $o: cxx_fallback $root/$s || pch/std.pch"
        if [[ "$s" == *Dispatch*.cpp ]]; then
            # Member tables are template-heavy and never hot: built quickly, unoptimised.
            echo "  opt = -O0"
        else
            echo "  opt = -O1 -include-pch pch/std.pch"
        fi
        objs+=("$o")
    done
    echo "build obj/gen/StringTableData.o: cxx gen/StringTableData.cpp || pch/std.pch"
    objs+=("obj/gen/StringTableData.o")
    for s in "${support[@]}"; do
        o="obj/${s%.cpp}.o"
        echo "build $o: cxx $root/$s || pch/std.pch"
        echo "  flags = \$own"
        objs+=("$o")
    done
    echo "build lib/libvesk_fuzz.a: ar ${objs[*]}"
    for t in "${all_targets[@]}"; do
        echo "build obj/fuzz/targets/$t.o: cxx $root/fuzz/targets/$t.cpp || pch/std.pch"
        echo "  flags = \$own"
        # The archive lets each target pull in only the objects it reaches.
        echo "build bin/$t: link obj/fuzz/targets/$t.o lib/libvesk_fuzz.a"
    done
} > "$out/build.ninja.new"
if ! cmp -s "$out/build.ninja.new" "$out/build.ninja" 2>/dev/null; then
    mv "$out/build.ninja.new" "$out/build.ninja"
else
    rm "$out/build.ninja.new"
fi

bins=()
for t in "${targets[@]}"; do bins+=("bin/$t"); done
ninja -C "$out" -j "$jobs" "${bins[@]}" | grep -v '^ninja: Entering\|^\[' || true
for b in "${bins[@]}"; do
    [[ -x "$out/$b" ]] || { echo "fuzz: building $b failed" >&2; exit 1; }
done
built=$(date +%s)
echo "fuzz: built ${#targets[@]} targets in $((built - start)) s"
[[ $build_only == 1 ]] && exit 0

# --- fuzz: each target gets an equal share of the time, $jobs at a time -----------------------
per=$(( total * jobs / ${#targets[@]} ))
(( per < 2 )) && per=2
mkdir -p "$out/artifacts" "$out/logs"
export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1:symbolize=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}

run_one() {
    local t=$1
    local work="$out/corpus/$t" seeds="$root/fuzz/corpus/$t" dict="$root/fuzz/dict/$t.dict"
    mkdir -p "$work" "$seeds"
    local args=(-max_total_time="$per" -timeout=10 -rss_limit_mb=2048 -max_len=4096
        -artifact_prefix="$out/artifacts/$t-" -print_final_stats=1)
    [[ -f "$dict" ]] && args+=(-dict="$dict")
    # New inputs go to the scratch corpus; the committed seeds stay as they are.
    if "$out/bin/$t" "${args[@]}" "$work" "$seeds" > "$out/logs/$t.log" 2>&1; then
        local runs
        runs=$(grep -o 'stat::number_of_executed_units: *[0-9]*' "$out/logs/$t.log" | grep -o '[0-9]*$' || echo "?")
        echo "fuzz: $t ok ($runs runs in ${per} s)"
    else
        echo "fuzz: $t FAILED; log: $out/logs/$t.log"
        grep -m 20 -E 'ERROR|SUMMARY|runtime error|Test unit written|==[0-9]+==' "$out/logs/$t.log" | sed 's/^/    /'
        local crash
        crash=$(ls -t "$out/artifacts/$t-"* 2>/dev/null | head -1 || true)
        [[ -n "$crash" ]] && echo "    replay: $out/bin/$t $crash"
        return 1
    fi
}
export -f run_one
export out root per

status=0
printf '%s\n' "${targets[@]}" | xargs -P "$jobs" -I{} bash -c 'run_one "$@"' _ {} || status=1
echo "fuzz: done in $(( $(date +%s) - start )) s"
exit $status
