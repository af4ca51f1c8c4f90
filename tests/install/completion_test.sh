#!/usr/bin/env bash
# Completes command lines of the built tool with the shipped bash completion.
#   completion_test.sh CLI COMPLETION_SCRIPT
set -euo pipefail
cli=$1
# shellcheck source=/dev/null
source "$2"
failed=0
# check "EXPECTED WORDS" WORD... : the words offered after the command line (the last word is
# the one being completed) must be exactly these, or contain them with a trailing "...".
check() {
    local want=$1
    shift
    COMP_WORDS=("$cli" "$@")
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    _vesk4710 || true
    local got="${COMPREPLY[*]}"
    if [[ $want == *... ]]; then
        for w in ${want%...}; do
            [[ " $got " == *" $w "* ]] || { echo "FAIL: '$*' offers '$got', without $w"; failed=1; }
        done
    elif [[ $got != "$want" ]]; then
        echo "FAIL: '$*' offers '$got', not '$want'"
        failed=1
    fi
}
check "info read get set channel log download cal record export..." ""
check "download" --device sim --timeout 500 do
check "1 2" channel ""
check "set" channel 2 ""
check "1 2" read --count 3 ""
check "units interval autopower..." get ""
check "scanmode scanchannels scanseqdelay" set scan
check "--device --baud --json --version --help..." --
check "sim" --device s
check "" get units ""
exit $failed
