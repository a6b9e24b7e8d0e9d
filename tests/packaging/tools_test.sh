# tools_test.sh PROJECT: every tool prints its usage for --help, and refuses a word that it does not
# know, before it installs or builds anything. What installs and builds is replaced by stubs.
set -u
[ -e /run/.sandbox ] || { echo "tools_test.sh: needs tools/sandbox" >&2; exit 1; }

cd "$1" || exit 1
stubs=$(mktemp -d)
trap 'rm -rf "$stubs"' EXIT
for command in apt-get cmake clang-format ctest dpkg-query mandoc npm; do
    printf '#!/bin/sh\necho "$0 $*" >>%s/called\nexit 1\n' "$stubs" >"$stubs/$command"
    chmod +x "$stubs/$command"
done
PATH=$stubs:$PATH
failures=0

expect() {  # expect STATUS FIRST-WORDS LINES TOOL [WORD ...]
    expected=$1 begin=$2 lines=$3
    shift 3

    output=$("tools/$@" 2>&1 </dev/null)
    status=$?

    count=$(printf '%s\n' "$output" | wc -l)
    case $output in "$begin"*) begins=yes ;; *) begins=no ;; esac
    [ "$status" -eq "$expected" ] && [ $begins = yes ] && [ "$count" -ge "$lines" ] &&
        [ ! -e "$stubs/called" ] && return
    printf 'tools/%s: status %s\n%s\n' "$*" "$status" "$output"
    cat "$stubs/called" 2>/dev/null
    rm -f "$stubs/called"
    failures=1
}
expect_help() { expect 0 "tools/$1" 4 "$1" --help; }
expect_wrong() { expect 2 "tools/$1: " 1 "$@"; }

for file in tools/*; do
    [ -x "$file" ] && [ -f "$file" ] && expect_help "${file#tools/}"
done
expect_wrong bench idle nosuch
expect_wrong bench --library nosuch
expect_wrong build-arm64 nosuch
expect_wrong build-package --nosuch
expect_wrong format --nosuch
expect_wrong fuzz nosuch
expect_wrong fuzz all nosuch
expect_wrong install build nosuch
expect_wrong patched-library nosuch
expect_wrong prove-guide nosuch
expect_wrong prove-package nosuch
expect_wrong run nosuch
expect_wrong run air nosuch
expect_wrong run rrm nosuch
expect_wrong test nosuch
expect_wrong test air nosuch
expect_wrong test asan --nosuch
expect_wrong test --library nosuch
exit $failures
