#!/usr/bin/env bash
# Builds a Release and an ASan+UBSan configuration side by side, runs the whole test suite
# in both, and smoke-runs qwfx list, qwfx demo and a short qwfx stress with each.
set -euo pipefail
cd "$(dirname "$0")/.."
jobs="${JOBS:-2}"

run_config() {
    local dir="$1"
    shift
    echo "== $dir: configure and build"
    cmake -S . -B "$dir" -G Ninja "$@"
    cmake --build "$dir" -j "$jobs"
    echo "== $dir: tests"
    (cd "$dir" && ctest --output-on-failure -j "$jobs")
    echo "== $dir: qwfx list"
    "$dir/qwfx" list
    echo "== $dir: qwfx demo"
    "$dir/qwfx" demo "$dir/qwfx-demo"
    echo "== $dir: qwfx stress, 2 s an effect"
    "$dir/qwfx" stress --seconds 2
}

run_config build -DCMAKE_BUILD_TYPE=Release
run_config build-asan -DCMAKE_BUILD_TYPE=Release -DKVFX_SANITIZE=ON -DKVFX_BENCH=OFF
echo "== all passed"
