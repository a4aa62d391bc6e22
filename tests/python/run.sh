#!/usr/bin/env bash
# Runs the Python package's tests on the lab's host side against two simulated S-parameter
# units (192.168.1.10 and .11, port 1024: an array of units begins with a broadcast to it).
#   run.sh <tarn-sim> <tarnctl> <libtarndll folder> <libtarnvna folder>
set -uo pipefail
source=$(cd "$(dirname "$0")/../.." && pwd)
netlab=$source/scripts/netlab
sim=$1 tarnctl=$2 dll_dir=$3 vna_dir=$4
python=/usr/bin/python3

skip() {
    echo "python tests: $1; skipped" >&2
    if [[ ${CI:-} == true ]]; then
        echo "python tests: CI=true, so this is a failure" >&2
        exit 1
    fi
    exit 77
}

[[ -x $python ]] || skip "$python is missing (scripts/setup installs it)"
"$python" -c "import numpy, pytest, matplotlib" 2>/dev/null ||
    skip "numpy, pytest or matplotlib is missing for $python (scripts/setup installs them)"

"$netlab" status || { "$netlab" exec-host true; exit $?; } # skip or fail as the lab decides
"$netlab" exec-units "$sim" --unit 192.168.1.10 --unit 192.168.1.11 --port 1024 \
    --profile s-param --fast </dev/null >/dev/null &
sim_pid=$!
trap 'kill $sim_pid 2>/dev/null; wait $sim_pid 2>/dev/null' EXIT

"$netlab" exec-host env TARN_LIBRARY_PATH="$dll_dir:$vna_dir" TARNCTL="$tarnctl" \
    TARN_TEST_UNITS=192.168.1.10,192.168.1.11 PYTHONPATH="$source/python" \
    PYTHONDONTWRITEBYTECODE=1 "$python" -m pytest -q -p no:cacheprovider "$source/tests/python"
