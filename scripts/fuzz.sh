#!/usr/bin/env bash
# Builds the libFuzzer targets with clang (ASan + UBSan) and runs each for a while from seeds
# made at run time: the defaults, synthetic models, and the impulse responses in qwfx/data and
# in any folders given after the seconds.
# Usage: scripts/fuzz.sh [SECONDS_PER_TARGET] [IR_FOLDER]...   (default 20 seconds)
set -euo pipefail
cd "$(dirname "$0")/.."
seconds="${1:-20}"
shift || true
dir=build-fuzz
targets=(paramblock reverbmodel boxmodel qwfxfiles)

# -O1: the sanitizers find the same faults, and the build is much quicker than at -O3.
CXX=clang++ cmake -S . -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_FLAGS_RELEASE=-O1 -DKVFX_FUZZ=ON \
    -DKVFX_TESTS=OFF -DKVFX_BENCH=OFF
cmake --build "$dir" -j "${JOBS:-2}" --target fuzz_seeds "${targets[@]/#/fuzz_}"

irs=(qwfx/data/*.wav)
for folder in "$@"; do
    irs+=("$folder"/*.wav "$folder"/*/*.wav)
done
rm -rf "$dir/seeds"
"$dir/fuzz_seeds" "$dir/seeds" "${irs[@]}"

for target in "${targets[@]}"; do
    mkdir -p "$dir/corpus/$target"
    echo "== fuzz_$target for $seconds s"
    # Memory past the allocator's budget is refused by the host, so 2 GB is far more than enough.
    log="$dir/fuzz_$target.log"
    if ! "$dir/fuzz_$target" -max_total_time="$seconds" -timeout=20 -rss_limit_mb=2048 -print_final_stats=1 \
        -artifact_prefix="$dir/" \
        "$dir/corpus/$target" "$dir/seeds/$target" >"$log" 2>&1; then
        tail -n 60 "$log"
        echo "== fuzz_$target failed; the input is named above"
        exit 1
    fi
    grep -E "^(Done|stat::number_of_executed_units)" "$log"
done
echo "== fuzzing found nothing"
