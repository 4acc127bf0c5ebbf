#!/usr/bin/env bash
# The demo: installs what is missing, builds, starts the demo equipment, and lets a host bring the link up and run a lot
# of 25 wafers on it, a good hour of machine time in a quarter of a minute. Ends by itself with status 0 when every
# expectation of the host's script was met.
set -euo pipefail
cd "$(dirname "$0")/.."

tools/install-packages.sh
build=${FA_BUILD_DIR:-build/release}
cmake --preset release -B "$build"
cmake --build "$build" --target fa-equipment fa-host

# The equipment works on a copy, on a port of its own choice, so that the demo can run anywhere and any number of times.
run=$(mktemp -d)
equipment=
trap 'kill $equipment 2>/dev/null || true; rm -rf "$run"' EXIT
cp -r demo/machine/. "$run"
sed -i 's/^COMM_PORT .*/COMM_PORT     0/' "$run/Z/FA/FA_SAVE.inf"
sed -i 's/^speed = .*/speed = 300.0/; s/^alarm_rate = .*/alarm_rate = 0.1/' "$run/machine.toml"

mkfifo "$run/commands"
"$build/apps/equipment/fa-equipment" --data "$run" <"$run/commands" >"$run/console" &
equipment=$!
exec 3>"$run/commands"
for _ in $(seq 100); do
    port=$(sed -n 's/^= ready //p' "$run/console")
    [ -n "$port" ] && break
    kill -0 "$equipment" || { cat "$run/console"; exit 1; }
    sleep 0.1
done
echo "The equipment listens on port ${port:?it does not}; the host's conversation follows."
echo

# What the host's definitions say of each event is added to its line. The operator sees the yellow lamp and brings a
# carrier.
declare -A meaning
while read -r word ceid _ _ text; do
    if [ "$word" = event ]; then meaning[$ceid]=$text; fi
done <demo/lot.txt
explain() {
    local line
    while IFS= read -r line; do
        if [[ $line =~ \*\*\ event\ ([0-9]+) ]]; then
            printf '%-90s %s\n' "$line" "${meaning[${BASH_REMATCH[1]}]:-}"
        else
            printf '%s\n' "$line"
        fi
        if [[ $line == "= SignalTower"* && -z ${carrier:-} ]]; then
            carrier=FOUP01
            echo "   (the operator puts the carrier $carrier on load port 1)"
            echo "carrier arrive 1 $carrier" >&3
        fi
    done
}
status=0
"$build/apps/host/fa-host" --connect "127.0.0.1:$port" --script demo/lot.script | explain || status=$?

echo
echo quit >&3
wait "$equipment" || status=$?
equipment=
if [ "$status" -eq 0 ]; then
    echo "The lot is done, every expectation of demo/lot.script was met."
else
    echo "This is how the equipment's own console ended:"
    tail -n 20 "$run/console"
fi
exit "$status"
