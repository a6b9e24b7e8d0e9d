# without_ctl_test.sh PROJECT FOLDER GENERATOR: a build without rfcdctl has units that do not call
# it. Such a unit would never start.
set -u

rm -rf "$2"
if ! cmake -S "$1" -B "$2" -G "$3" -DRFCD_CTL=OFF -DBUILD_TESTING=OFF >"$2.log" 2>&1; then
    cat "$2.log"
    exit 1
fi

for unit in rfcd.service rfcd@.service; do
    grep -q '^ExecStart=.*/rfcd -f' "$2/packaging/$unit" || { echo "$unit is not whole"; exit 1; }
    if grep '^[^#].*rfcdctl' "$2/packaging/$unit"; then
        echo "$unit calls rfcdctl"
        exit 1
    fi
done
