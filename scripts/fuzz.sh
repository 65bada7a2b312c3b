#!/usr/bin/env bash
# usage: scripts/fuzz.sh [TARGET [SECONDS [FOLDER]]]
# Builds the fuzzers and runs TARGET (loader, interface, or both as "all", which is the default) for
# SECONDS (60) each. What it learns is kept in FOLDER/TARGET (~/.cache/sorvane-fuzz), and an input that
# does harm in FOLDER/findings: such a one belongs in fuzz/regressions/, made small, with its fix. Prints
# the number of executions, the coverage and the findings; fails when there are any.
set -euo pipefail
cd "$(dirname "$0")/.."

targets=${1:-all}
seconds=${2:-60}
folder=${3:-${XDG_CACHE_HOME:-$HOME/.cache}/sorvane-fuzz}
case $targets in
all) targets="loader interface" ;;
loader | interface) ;;
*)
    sed -n '2,7s/^# //p' "$0" >&2
    exit 2
    ;;
esac

if command -v ccache >/dev/null; then
    export CMAKE_CXX_COMPILER_LAUNCHER=ccache CMAKE_C_COMPILER_LAUNCHER=ccache
fi
mkdir -p build "$folder/seeds" "$folder/findings"
cmake --preset fuzz >build/fuzz.log || { cat build/fuzz.log; exit 1; }
cmake --build build/fuzz -j "$(nproc)" -- --quiet
build/fuzz/bin/make_fuzz_seeds "$folder/seeds"

# Files in memory where the system has such a folder. Larger blocks than 32 MiB can't be had, which
# keeps runs short, and shows what the engine does when memory runs out.
if [ -d /dev/shm ]; then
    export TMPDIR=/dev/shm
fi
export ASAN_OPTIONS=allocator_may_return_null=1:max_allocation_size_mb=32

failed=0
for target in $targets; do
    mkdir -p "$folder/$target"
    log=$folder/$target.log
    status=0
    build/fuzz/bin/fuzz_"$target" -max_total_time="$seconds" -max_len=4096 -rss_limit_mb=5000 \
        -timeout=20 -print_final_stats=1 -artifact_prefix="$folder/findings/$target-" \
        "$folder/$target" "$folder/seeds" fuzz/regressions >"$log" 2>&1 || status=$?
    executions=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
    # The last line of progress has "cov: EDGES".
    edges=$(grep -o 'cov: [0-9]*' "$log" | tail -n 1)
    echo "$target: ${executions:-0} executions in $seconds s, ${edges:-cov: 0}, exit code $status"
    if [ $status -ne 0 ]; then
        tail -n 60 "$log"
        failed=1
    fi
done
echo "findings in $folder/findings: $(find "$folder/findings" -type f | wc -l)"
exit $failed
