# procd_test.sh INIT_SCRIPT: checks what the init script asks of procd, which stubs replace here.
set -u
[ -e /run/.sandbox ] || { echo "procd_test.sh: needs tools/sandbox" >&2; exit 1; }

init=$1
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
failures=0

procd_open_instance() { echo open; }
procd_close_instance() { echo close; }

. "$init"
CONFIG=$folder/rfcd.conf
MARK=$folder/mark

expect() {
    [ "$2" = "$3" ] && return
    printf '%s\n--- got ---\n%s\n--- expected ---\n%s\n' "$1" "$2" "$3"
    failures=1
}

expect "procd is used" "${USE_PROCD:-}" 1
expect "without a file nothing is started" "$(start_service 2>/dev/null)" ""
echo '#roam_service_url=ws://h:1/x' >"$CONFIG"
expect "nor without a service" "$(start_service 2>/dev/null)" ""

# The daemon is replaced by a script that prints its arguments and the notify files.
PROGRAM=$folder/daemon
printf '#!/bin/sh\necho "$0 $*"\ncd /tmp && ls -d .skylark_notify* 2>/dev/null\n' >"$PROGRAM"
chmod +x "$PROGRAM"
procd_set_param() {
    case $1 in
        command) shift && "$@" ;;
        respawn) echo "$*" ;;
    esac
}
expect_start() {  # expect_start KEY WHAT-RUNS FILE ...
    key=$1 running=$2
    shift 2
    rm -f /tmp/.skylark_notify* /var/run/hostapd.pid /var/run/widsd.pid
    for name in $running; do : >"/var/run/$name.pid"; done
    echo "$key=ws://h:1/x" >"$CONFIG"

    started=$(start_service)

    expect "$key is started, and again for ever, with '$running' running" "$started" \
        "$(printf '%s\n' open "$PROGRAM -f $CONFIG" "$@" "respawn 3600 10 0" close)"
}
expect_start roam_service_url ""
expect_start skylark_service_url hostapd .skylark_notify .skylark_notify_hostapd_started
expect_start skylark_service_url widsd .skylark_notify .skylark_notify_widsd_started
expect_start MAC-LIST-SERVICE-URL "hostapd widsd" .skylark_notify \
    .skylark_notify_hostapd_started .skylark_notify_widsd_started

: >"$MARK"
service_stopped
expect "a stop takes the mark away" "$(ls "$MARK" 2>/dev/null)" ""
exit $failures
