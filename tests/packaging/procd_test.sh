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
CHECK=$folder/rfcdctl
MARK=$folder/mark

expect() {
    [ "$2" = "$3" ] && return
    printf '%s\n--- got ---\n%s\n--- expected ---\n%s\n' "$1" "$2" "$3"
    failures=1
}

expect "procd is used" "${USE_PROCD:-}" 1
logger() { echo "$@" >>"$folder/log"; }
start() { echo reloaded; }
expect_refusal() {  # expect_refusal WHAT
    : >"$folder/log"

    started=$(start_service 2>/dev/null)

    expect "$1: nothing is started" "$started" ""
    expect "$1: a reload changes nothing" "$(reload_service 2>/dev/null)" ""
    expect "$1: a line in the log for each" "$(grep -c "^-s -t rfcd .*$CONFIG is wrong" "$folder/log")" 2
}
expect_refusal "no file"
for line in "#roam_service_url=ws://h:1/x" "#skylark_service_url=ws://h:1/x" \
    "roam_service_url=" "skylark_service_url=ws://host:80" "roam_service_url=wss://host:443/x" \
    "mac-list-service-url=ws://host/x" " roam_service_url=ws://h:1/x" "roam_service_url=:1/x"; do
    echo "$line" >"$CONFIG"
    expect_refusal "$line"
done

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

    expect "$key is started, and again until it is hopeless, with '$running' running" "$started" \
        "$(printf '%s\n' open "$PROGRAM -f $CONFIG" "$@" "respawn 60 10 30" close)"
}
expect_start roam_service_url ""
expect_start skylark_service_url hostapd .skylark_notify .skylark_notify_hostapd_started
expect_start skylark_service_url widsd .skylark_notify .skylark_notify_widsd_started
expect_start MAC-LIST-SERVICE-URL "hostapd widsd" .skylark_notify \
    .skylark_notify_hostapd_started .skylark_notify_widsd_started

# rfcdctl, where it is installed, decides instead of the pattern.
for status in 0 1; do
    printf '#!/bin/sh\necho "line 1: $*"\nexit %s\n' $status >"$CHECK"
    chmod +x "$CHECK"
    : >"$folder/log"

    started=$(start_service 2>/dev/null | head -n 1)

    expect "status $status of rfcdctl: start" "$started" "$([ $status = 1 ] || echo open)"
    expect "status $status of rfcdctl: reload" "$(reload_service)" \
        "$([ $status = 1 ] || echo reloaded)"
    expect "status $status of rfcdctl: its reason" \
        "$(grep -c "line 1: check $CONFIG" "$folder/log")" $((2 * status))
done

: >"$MARK"
service_stopped
expect "a stop takes the mark away" "$(ls "$MARK" 2>/dev/null)" ""
exit $failures
