#!/usr/bin/env bash
# Installs the Debian packages (scripts/package) into this machine with dpkg, uses them as a
# lab and a client would, and purges them again, leaving no file of theirs behind.
#   package_test.sh PACKAGE_DIR SOURCE_DIR CXX
set -euo pipefail
dir=$(realpath "$1") src=$(realpath "$2") cxx=$3
skip() { echo "SKIP: $*"; exit 77; }
fail() { echo "FAIL: $*" >&2; exit 1; }
[[ $(id -u) -eq 0 ]] || skip "installing packages needs root"
command -v dpkg >/dev/null || skip "no dpkg on this machine"
shopt -s nullglob
debs=("$dir"/*.deb)
((${#debs[@]} > 0)) || fail "no packages in $dir: run scripts/package first"
names=()
for deb in "${debs[@]}"; do
    name=$(dpkg-deb -f "$deb" Package)
    state=$(dpkg-query -W -f='${db:Status-Abbrev}' "$name" 2>/dev/null || true)
    # Whatever is installed (or left configured) here already is the administrator's.
    [[ -z $state || $state == un* ]] || skip "$name is on this machine already ($state)"
    names+=("$name")
done
version=$(dpkg-deb -f "${debs[0]}" Version)

work=$(mktemp -d "${TMPDIR:-/tmp}/vesk4710-package.XXXXXX")
installed=$work/installed-files
cleanup() {
    dpkg --purge "${names[@]}" >"$work/purge.log" 2>&1 || cat "$work/purge.log" >&2
    rm -rf "$work"
}
trap cleanup EXIT
export HOME=$work/home XDG_CONFIG_HOME=$work/home/config XDG_STATE_HOME=$work/home/state
export TMPDIR=$work/tmp
mkdir -p "$HOME" "$TMPDIR"
unset LD_LIBRARY_PATH PKG_CONFIG_PATH CMAKE_PREFIX_PATH PYTHONPATH
cd "$work"

echo "== dpkg -i ${names[*]}"
dpkg -i "${debs[@]}" >"$work/install.log" 2>&1 || fail "dpkg -i: $(cat "$work/install.log")"
for name in "${names[@]}"; do
    dpkg -L "$name" | while read -r f; do [[ -d $f ]] || echo "$f"; done >>"$installed"
done
ldconfig -p | grep -q 'libvesk4710\.so\.[0-9.]* ' || fail "the library is not in the loader's cache"

echo "== the tools"
[[ $(/usr/bin/vesk4710 --version) == "vesk4710 ${version%-*}" ]] || fail "vesk4710 --version"
/usr/bin/vesk4710 --device sim --yes info >info.txt 2>&1 || fail "vesk4710 info: $(cat info.txt)"
grep -q '^Model *4710$' info.txt || fail "vesk4710 info printed no model: $(cat info.txt)"
if [[ -x /usr/bin/vesk4710-gui ]]; then
    env -u DISPLAY -u WAYLAND_DISPLAY /usr/bin/vesk4710-gui --version | grep -q "^vesk4710-gui " \
        || fail "vesk4710-gui --version without a display"
fi
MANWIDTH=80 man vesk4710 2>man.err | grep -q '^EXIT STATUS\|^ *Exit status:' \
    || fail "man vesk4710: $(cat man.err)"

echo "== the Python module"
/usr/bin/python3 -c '
import vesk4710
assert vesk4710.__file__.startswith("/usr/lib/python3/dist-packages/"), vesk4710.__file__
inst = vesk4710.connect(device="sim", console=False)
assert inst.QueryInfo(), "QueryInfo failed"
assert "4710" in inst.Identification, inst.Identification
' || fail "the installed Python module"

echo "== clients built against /usr"
check_client() {
    "$1" --seconds 0 >"$1.out" 2>&1 || fail "$1: $(cat "$1.out")"
    grep -q '^instrument: .*4710' "$1.out" && grep -Eq '^channel 1: -?[0-9]' "$1.out" \
        || fail "$1 printed: $(cat "$1.out")"
}
# shellcheck disable=SC2046
"$cxx" -std=c++20 -O1 -o pkg-config-client "$src/examples/read_and_download.cpp" \
    $(pkg-config --cflags --libs vesk4710-host) || fail "building with pkg-config"
check_client ./pkg-config-client
cmake -S "$src/examples" -B cmake-client -DCMAKE_CXX_COMPILER="$cxx" >cmake.log 2>&1 \
    && cmake --build cmake-client >>cmake.log 2>&1 || fail "building with find_package: $(cat cmake.log)"
check_client ./cmake-client/read_and_download

echo "== dpkg --purge"
dpkg --purge "${names[@]}" >"$work/purge.log" 2>&1 || fail "dpkg --purge: $(cat "$work/purge.log")"
while read -r f; do
    [[ ! -e $f && ! -L $f ]] || fail "$f is left after the purge"
done <"$installed"
! ldconfig -p | grep -q 'libvesk4710\.so' || fail "the loader's cache still names the library"
echo "== ok"
