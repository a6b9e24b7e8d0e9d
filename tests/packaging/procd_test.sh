# procd_test.sh INIT_SCRIPT: what the init script asks of procd, which is stubs here.
set -u

init=$1
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
failures=0

procd_open_instance() { echo open; }
procd_close_instance() { echo close; }
procd_set_param() { echo "$*"; }

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
for key in roam_service_url skylark_service_url MAC-LIST-SERVICE-URL; do
    echo "$key=ws://h:1/x" >"$CONFIG"
    expect "$key is started, and again for ever" \
        "$(start_service | grep -E '^(open|respawn|close)')" "open
respawn 3600 10 0
close"
done

# What procd runs at each start, here with a daemon that shows how it was called and what it finds.
PROGRAM=$folder/daemon
printf '#!/bin/sh\necho "$0 $*"\ncd /tmp && ls -d .skylark_notify* 2>/dev/null\n' >"$PROGRAM"
chmod +x "$PROGRAM"
expect_notified() {  # expect_notified WHAT-RUNS FILE ...
    running=$1
    shift
    rm -f /tmp/.skylark_notify* /var/run/hostapd.pid /var/run/widsd.pid
    for name in $running; do : >"/var/run/$name.pid"; done

    started=$(procd_set_param() { [ "$1" != command ] || { shift; "$@"; }; }; start_service)

    expect "with '$running' running the daemon finds" "$started" \
        "$(printf '%s\n' open "$PROGRAM -f $CONFIG" "$@" close)"
}
expect_notified ""
expect_notified hostapd .skylark_notify .skylark_notify_hostapd_started
expect_notified widsd .skylark_notify .skylark_notify_widsd_started
expect_notified "hostapd widsd" .skylark_notify .skylark_notify_hostapd_started \
    .skylark_notify_widsd_started
rm "$PROGRAM"

: >"$MARK"
service_stopped
expect "a stop takes the mark away" "$(ls "$folder")" rfcd.conf
exit $failures
