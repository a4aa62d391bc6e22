#!/usr/bin/env bash
# Runs a C consumer test on the lab's host side against a simulated unit on its units side.
#   with_sim.sh <tarn-sim> <profile> <address> <port> <test program>
set -uo pipefail
netlab=$(cd "$(dirname "$0")/../.." && pwd)/scripts/netlab
sim=$1 profile=$2 address=$3 port=$4 test_program=$5
# Cross builds run both programs through the emulator (e.g. "qemu-arm -L <sysroot>").
read -r -a emulator <<<"${TARN_EMULATOR:-}"

"$netlab" status || { "$netlab" exec-host true; exit $?; } # skip or fail as the lab decides
"$netlab" exec-units "${emulator[@]}" "$sim" --unit "$address" --port "$port" \
    --profile "$profile" --fast </dev/null >/dev/null &
sim_pid=$!
trap 'kill $sim_pid 2>/dev/null; wait $sim_pid 2>/dev/null' EXIT
"$netlab" exec-host "${emulator[@]}" "$test_program" "$address" "$port"
