#!/usr/bin/env bash
# The demo: installs what is missing, builds, starts the demo equipment, and lets a host bring it on-line and read
# it. Ends by itself with status 0 when every expectation of the host's script was met.
set -euo pipefail
cd "$(dirname "$0")/.."

tools/install-packages.sh
cmake --preset release
cmake --build --preset release --target fa-equipment fa-host

# The equipment works on a copy, on a port of its own choice, so that the demo can run anywhere and any number of times.
run=$(mktemp -d)
trap 'kill "$equipment" 2>/dev/null || true; rm -rf "$run"' EXIT
cp -r demo/machine/. "$run"
sed -i 's/^COMM_PORT .*/COMM_PORT     0/' "$run/Z/FA/FA_SAVE.inf"

mkfifo "$run/commands"
build/release/apps/equipment/fa-equipment --data "$run" <"$run/commands" >"$run/console" &
equipment=$!
exec 3>"$run/commands"
for _ in $(seq 100); do
    port=$(sed -n 's/^= ready //p' "$run/console")
    [ -n "$port" ] && break
    kill -0 "$equipment" || { cat "$run/console"; exit 1; }
    sleep 0.1
done
echo "The equipment listens on port $port; the host's conversation follows."
echo

status=0
build/release/apps/host/fa-host --connect "127.0.0.1:$port" --script demo/online.script || status=$?

echo
echo "The equipment's own console:"
echo quit >&3
wait "$equipment" || status=$?
cat "$run/console"
exit "$status"
