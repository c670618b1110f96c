#!/usr/bin/env bash
# Builds a Release and an ASan+UBSan configuration side by side, runs the whole test suite
# in both, and smoke-runs qwfx list, qwfx demo and a short qwfx stress with each; valgrind
# memcheck on a short render of every effect in the Release build; then a short fuzzing run.
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

# valgrind memcheck on a short render of every effect, the input being the short measured
# cabinet response that ships in qwfx/data.
valgrind_renders() {
    local dir="$1" input=qwfx/data/bass-combo-a-44k.wav
    local out="$dir/valgrind"
    mkdir -p "$out"
    "$dir/qwfx" reverb-model -o "$out/model.bin" --rate 44100 --early-ms 20 >/dev/null
    for effect in reverb box-modeler delay distortion dynamics filters multiband-distortion; do
        local extra=()
        case "$effect" in
            reverb) extra=(--media "$out/model.bin") ;;
            box-modeler) extra=(--ir "$input") ;;
        esac
        echo "== $dir: valgrind qwfx render $effect"
        if ! valgrind --error-exitcode=99 --leak-check=full --errors-for-leak-kinds=definite,indirect \
            "$dir/qwfx" render "$effect" "$input" "$out/$effect.wav" --max-tail 0.1 "${extra[@]}" \
            >"$out/$effect.log" 2>&1; then
            cat "$out/$effect.log"
            return 1
        fi
        grep -E "ERROR SUMMARY|definitely lost|All heap blocks" "$out/$effect.log" | sed 's/^==[0-9]*== /    /'
    done
}

run_config build -DCMAKE_BUILD_TYPE=Release
valgrind_renders build
run_config build-asan -DCMAKE_BUILD_TYPE=Release -DKVFX_SANITIZE=ON -DKVFX_BENCH=OFF
./scripts/fuzz.sh "${FUZZ_SECONDS:-20}"
echo "== all passed"
