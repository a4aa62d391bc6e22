#!/usr/bin/env bash
# Runs a C consumer test on the lab's host side against a simulated unit on its units side.
#   with_sim.sh <tarn-sim> <profile> <address> <port> <test program>
set -uo pipefail
netlab=$(cd "$(dirname "$0")/../.." && pwd)/scripts/netlab
sim=$1 profile=$2 address=$3 port=$4 test_program=$5

"$netlab" status || { "$netlab" exec-host true; exit $?; } # skip or fail as the lab decides
"$netlab" exec-units "$sim" --unit "$address" --port "$port" --profile "$profile" --fast \
    </dev/null >/dev/null &
sim_pid=$!
trap 'kill $sim_pid 2>/dev/null; wait $sim_pid 2>/dev/null' EXIT
"$netlab" exec-host "$test_program" "$address" "$port"
