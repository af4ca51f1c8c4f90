#!/usr/bin/env bash
# Installs the built tree into a fresh prefix, builds examples/read_and_download against the
# installed package twice (CMake find_package and pkg-config) and runs the results against
# the embedded simulator and against the installed vesk4710-sim over TCP.
#   consumer_test.sh BUILD_DIR SOURCE_DIR LIBDIR CMAKE CXX
set -euo pipefail
build=$1 src=$2 libdir=$3 cmake=$4 cxx=$5

work=$(mktemp -d "${TMPDIR:-/tmp}/vesk4710-install.XXXXXX")
sim_pid=""
cleanup() {
    if [[ -n "$sim_pid" ]]; then kill "$sim_pid" 2>/dev/null || true; wait "$sim_pid" 2>/dev/null || true; fi
    rm -rf "$work"
}
trap cleanup EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }

prefix=$work/prefix
# Settings, simulator state and downloads of this run stay in its own home.
export HOME=$work/home XDG_CONFIG_HOME=$work/home/config XDG_STATE_HOME=$work/home/state
# The download's trace and raw transfer go to the temporary folder.
export TMPDIR=$work/tmp
mkdir -p "$HOME" "$TMPDIR"
unset LD_LIBRARY_PATH PKG_CONFIG_PATH CMAKE_PREFIX_PATH
if command -v ccache >/dev/null; then
    # Same relative paths every run, so the consumer builds hit the cache.
    export CCACHE_BASEDIR=$work
    launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
else
    launcher=()
fi

echo "== install into $prefix"
"$cmake" --install "$build" --prefix "$prefix" >"$work/install.log"

echo "== layout"
lib=$prefix/$libdir
for f in "$lib/libvesk4710.so" "$lib/libvesk4710.so.0.1" "$lib/libvesk_host.a" \
         "$prefix/include/vesk4710/core/CVesk4710.h" \
         "$prefix/include/vesk4710/host/DefaultHost.h" \
         "$prefix/include/vesk4710/simulator/EmbeddedLink.h" \
         "$lib/cmake/vesk4710/vesk4710Config.cmake" "$lib/pkgconfig/vesk4710.pc" \
         "$lib/pkgconfig/vesk4710-host.pc" "$prefix/bin/vesk4710" "$prefix/bin/vesk4710-sim"; do
    [[ -e "$f" ]] || fail "not installed: ${f#"$prefix"/}"
done
# The library's internals stay in the source tree.
[[ ! -e "$prefix/include/vesk4710/vesk4710/support/DispatchBinder.h" ]] || fail "internal headers installed"
soname=$(readelf -d "$lib/libvesk4710.so" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p')
[[ "$soname" == libvesk4710.so.0.1 ]] || fail "soname is '$soname'"
# The package must not point back into the build or source tree.
if grep -rlF -e "$build" -e "$src" "$lib/cmake" "$lib/pkgconfig" "$prefix/include"; then
    fail "installed files name the build or source tree"
fi

echo "== installed programs run from the prefix"
"$prefix/bin/vesk4710" --device sim --yes info >"$work/info.txt" \
    || fail "installed vesk4710 info: $(cat "$work/info.txt")"
grep -q 4710 "$work/info.txt" || fail "vesk4710 info printed no model: $(cat "$work/info.txt")"

# Checks a run of the example: the instrument, readings of channels 1 and 2, a download file
# that holds readings.
check_run() {
    local out=$1
    grep -q '^instrument: .*4710' "$out" || fail "no identification in: $(cat "$out")"
    for ch in 1 2; do
        grep -Eq "^channel $ch: -?[0-9]+\.[0-9]{4} " "$out" || fail "no reading of channel $ch in: $(cat "$out")"
    done
    local file
    file=$(sed -n 's/^written: *//p' "$out" | head -n 1)
    [[ -n "$file" && -s "$file" ]] || fail "no download file in: $(cat "$out")"
    local readings
    readings=$(sed -n 's/^demand log: \([0-9]*\) readings$/\1/p' "$out")
    [[ "${readings:-0}" -gt 0 ]] || fail "the demand log download wrote no readings: $(cat "$out")"
    local rows
    rows=$(awk 'body && NF {n++} /^sequence,time,/ {body = 1} END {print n + 0}' "$file")
    [[ "$rows" -eq "$readings" ]] || fail "$file holds $rows readings, the download reported $readings"
    [[ -s "$TMPDIR/DNLD4710.LOG" && -s "$TMPDIR/TMPDWNLD.LOG" ]] || fail "no download trace or raw file in TMPDIR"
    rm -f "$file"
}

echo "== consumer built with CMake (find_package)"
"$cmake" -S "$src/examples" -B "$work/cmake-build" -G Ninja -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_CXX_COMPILER="$cxx" "${launcher[@]}" -DCMAKE_PREFIX_PATH="$prefix" \
    >"$work/configure.log" || { cat "$work/configure.log"; fail "configuring the example"; }
"$cmake" --build "$work/cmake-build" >"$work/build.log" || { cat "$work/build.log"; fail "building the example"; }
"$work/cmake-build/read_and_download" --seconds 2 >"$work/run1.txt" 2>"$work/run1.err" \
    || fail "example (CMake) on the embedded simulator: $(cat "$work/run1.txt" "$work/run1.err")"
check_run "$work/run1.txt"
[[ $(grep -c '^channel 1: ' "$work/run1.txt") -ge 2 ]] || fail "--seconds 2 gave fewer than two rounds"

echo "== consumer built with pkg-config"
export PKG_CONFIG_PATH=$lib/pkgconfig
[[ $(pkg-config --modversion vesk4710) == $(pkg-config --modversion vesk4710-host) ]] \
    || fail "pkg-config versions differ"
# shellcheck disable=SC2046
"$cxx" -std=c++20 -O1 -o "$work/pc-example" "$src/examples/read_and_download.cpp" \
    $(pkg-config --cflags --libs vesk4710-host) -Wl,-rpath,"$(pkg-config --variable=libdir vesk4710)" \
    || fail "building the example with pkg-config"

echo "== pkg-config consumer against the installed simulator over TCP"
"$prefix/bin/vesk4710-sim" --tcp 127.0.0.1:0 --memory >"$work/sim.out" 2>"$work/sim.err" &
sim_pid=$!
address=""
for _ in $(seq 100); do
    address=$(head -n 1 "$work/sim.out")
    [[ -n "$address" ]] && break
    kill -0 "$sim_pid" 2>/dev/null || fail "vesk4710-sim stopped: $(cat "$work/sim.err")"
    sleep 0.1
done
[[ "$address" == tcp://* ]] || fail "vesk4710-sim named no address: '$address'"
"$work/pc-example" "$address" --seconds 0 >"$work/run2.txt" 2>"$work/run2.err" \
    || fail "example (pkg-config) over $address: $(cat "$work/run2.txt" "$work/run2.err")"
check_run "$work/run2.txt"

echo "== errors reach the consumer as vesk::AutomationError"
kill "$sim_pid"; wait "$sim_pid" 2>/dev/null || true; sim_pid=""
if "$work/pc-example" "$address" --seconds 0 >"$work/run3.txt" 2>"$work/run3.err"; then
    fail "the example succeeded with the simulator stopped"
fi
grep -q '^error -[0-9]* in CVesk4710 - ' "$work/run3.err" \
    || fail "no AutomationError report from a stopped simulator: $(cat "$work/run3.err")"

echo "== Python module from the prefix"
module=$(find "$prefix" -path '*dist-packages/vesk4710*.so' | head -n 1)
if [[ -n "$module" ]]; then
    PYTHONPATH=$(dirname "$module") /usr/bin/python3 -c '
import vesk4710
inst = vesk4710.connect(device="sim", console=False)
assert inst.QueryInfo(), "QueryInfo failed"
assert "4710" in inst.Identification, inst.Identification
' || fail "the installed Python module"
else
    echo "(no Python module in this build)"
fi
echo "== ok"
