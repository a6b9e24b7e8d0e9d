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
        "$(start_service | grep -E '^(open|command|respawn|close)')" "open
command /usr/sbin/rfcd -f $CONFIG
respawn 3600 10 0
close"
done
: >"$MARK"
service_stopped
expect "a stop takes the mark away" "$(ls "$folder")" rfcd.conf
exit $failures
