#!/usr/bin/env bash
# Seeded-fault run: applies each single-line fault of scripts/mutants.txt in turn to a
# scratch copy of the tree, rebuilds the test binary incrementally, runs the whole suite in
# one process and says whether some test failed. Slow (a rebuild per fault): not for CI.
#
#   scripts/mutants.sh                 every fault
#   scripts/mutants.sh 3 7-9           faults by index (as --list numbers them)
#   scripts/mutants.sh --grep delay    faults whose entry matches an extended regex
#   scripts/mutants.sh --list          numbered list, nothing built
#   scripts/mutants.sh --stale         only check that every fragment still matches
#
# Environment: MUTANTS_DIR (scratch copy; default under ${TMPDIR:-/tmp}, one per checkout), JOBS (default 2),
# MUTANT_TIMEOUT (seconds per suite run; default 300; a hang counts as caught).
set -uo pipefail
repo="$(cd "$(dirname "$0")/.." && pwd)"
list="$repo/scripts/mutants.txt"
# One scratch copy per checkout, so that two worktrees can run side by side.
scratch="${MUTANTS_DIR:-${TMPDIR:-/tmp}/kvfx-mutants-$(id -un)-$(printf %s "$repo" | cksum | cut -d' ' -f1)}"
jobs="${JOBS:-2}"
limit="${MUTANT_TIMEOUT:-300}"

mode=run
pattern=
selection=()
while [ $# -gt 0 ]; do
    case "$1" in
    --list) mode=list ;;
    --stale) mode=stale ;;
    --grep) shift; pattern="${1:?--grep needs a pattern}" ;;
    -h|--help) sed -n '2,14p' "$0"; exit 0 ;;
    [0-9]*) selection+=("$1") ;;
    *) echo "mutants.sh: unknown argument '$1'" >&2; exit 2 ;;
    esac
    shift
done

# Entries: "file :: original fragment ==> replacement"; '#' lines and blank lines skipped.
mapfile -t entries < <(grep -v -e '^[[:space:]]*#' -e '^[[:space:]]*$' "$list")

selected() {
    local i="$1" s
    if [ -n "$pattern" ] && ! grep -Eq -- "$pattern" <<<"${entries[i-1]}"; then return 1; fi
    [ ${#selection[@]} -eq 0 ] && return 0
    for s in "${selection[@]}"; do
        if [[ "$s" == *-* ]]; then
            [ "$i" -ge "${s%-*}" ] && [ "$i" -le "${s#*-}" ] && return 0
        elif [ "$i" -eq "$s" ]; then return 0; fi
    done
    return 1
}

# Replaces the fragment in file $2 (relative to root $1); exit 3 when the fragment is not
# found exactly once, so that a drifted entry shows as stale rather than as caught.
apply() {
    python3 - "$1" "$2" "$3" "$4" <<'PY'
import sys
root, path, old, new = sys.argv[1:]
full = root + "/" + path
try:
    text = open(full, encoding="utf-8").read()
except OSError:
    sys.exit(3)
if text.count(old) != 1:
    sys.exit(3)
open(full, "w", encoding="utf-8").write(text.replace(old, new))
PY
}

split() {  # sets file, old, new from an entry
    file="${1%% :: *}"
    local rest="${1#* :: }"
    old="${rest%% ==> *}"
    new="${rest#* ==> }"
}

if [ "$mode" = list ]; then
    for i in "${!entries[@]}"; do
        selected $((i + 1)) && printf '%3d  %s\n' $((i + 1)) "${entries[i]}"
    done
    exit 0
fi
if [ "$mode" = stale ]; then
    n=0
    for i in "${!entries[@]}"; do
        selected $((i + 1)) || continue
        split "${entries[i]}"
        python3 -c 'import sys; t=open(sys.argv[1]).read(); sys.exit(0 if t.count(sys.argv[2])==1 else 3)' \
            "$repo/$file" "$old" 2>/dev/null || { printf '%3d  stale  %s\n' $((i + 1)) "${entries[i]}"; n=$((n + 1)); }
    done
    echo "stale: $n"
    exit 0
fi

# Scratch copy: only files whose content differs are rewritten (with a fresh time stamp),
# so the build stays incremental and a file left mutated by an interrupted run is rebuilt.
# Files gone from the tree are removed from the copy too (the build globs its sources).
mkdir -p "$scratch/src"
python3 - "$repo" "$scratch/src" <<'PY'
import os, shutil, subprocess, sys, filecmp
repo, dst = sys.argv[1:]
files = subprocess.run(["git", "-C", repo, "ls-files", "-co", "--exclude-standard"],
                       capture_output=True, text=True, check=True).stdout.split("\n")
wanted = set()
for f in filter(None, files):
    s, d = os.path.join(repo, f), os.path.join(dst, f)
    if not os.path.isfile(s) or f.split("/")[0].startswith("build"):
        continue
    wanted.add(f)
    if os.path.isfile(d) and filecmp.cmp(s, d, shallow=False):
        continue
    os.makedirs(os.path.dirname(d), exist_ok=True)
    shutil.copyfile(s, d)
for root, dirs, names in os.walk(dst):
    rel = os.path.relpath(root, dst)
    if rel.split(os.sep)[0].startswith("build"):
        dirs[:] = []
        continue
    for n in names:
        f = os.path.normpath(os.path.join(rel, n))
        if f not in wanted:
            os.remove(os.path.join(root, n))
PY
src="$scratch/src"
# The build folder sits where it does in a checkout and ccache sees paths relative to the
# copy, so objects already built from a checkout come from the cache.
bld="$src/build"
export CCACHE_BASEDIR="$scratch"
launcher=()
command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
# Tests are listed when ctest runs, not after every link: the script runs the binary itself.
cmake -S "$src" -B "$bld" -G Ninja -DCMAKE_BUILD_TYPE=Release -DKVFX_BENCH=OFF "${launcher[@]}" \
    -DCMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE=PRE_TEST >/dev/null \
    || { echo "mutants.sh: configure failed" >&2; exit 1; }

build() { cmake --build "$bld" -j "$jobs" --target kvfx_tests >"$scratch/build.log" 2>&1; }
suite() {
    (cd "$bld/tests" && timeout "$limit" ./kvfx_tests --gtest_fail_fast --gtest_brief=1 >"$scratch/suite.log" 2>&1)
}

current=
restore() { [ -n "$current" ] && cp "$repo/$current" "$src/$current"; current=; }
trap 'restore; exit 130' INT TERM

echo "scratch: $scratch"
build || { echo "mutants.sh: the unmutated tree does not build (see $scratch/build.log)" >&2; exit 1; }
start=$(date +%s)
suite || { echo "mutants.sh: the unmutated suite fails (see $scratch/suite.log)" >&2; exit 1; }
echo "unmutated suite: $(( $(date +%s) - start )) s"

caught=0 survived=0 stale=0 broken=0
for i in "${!entries[@]}"; do
    idx=$((i + 1))
    selected "$idx" || continue
    split "${entries[i]}"
    if ! apply "$src" "$file" "$old" "$new"; then
        result=stale; stale=$((stale + 1))
    else
        current="$file"
        if ! build; then
            result=build-failed; broken=$((broken + 1))
        else
            suite; rc=$?
            if [ $rc -eq 0 ]; then
                result=SURVIVED; survived=$((survived + 1))
            else
                result=caught; caught=$((caught + 1))
                [ $rc -eq 124 ] && result="caught (timeout)"
                failed=$(grep -m1 '^\[  FAILED  \]' "$scratch/suite.log" | sed 's/^\[  FAILED  \] //; s/ (.*//')
                [ -n "$failed" ] && result="$result by $failed"
            fi
        fi
        restore
    fi
    printf '%3d  %-8s  %s: %s\n' "$idx" "${result%% *}" "$file" "$old ==> $new"
    [ "${result%% *}" = caught ] && [ "$result" != caught ] && printf '           %s\n' "${result#caught }"
done
# Leave the scratch build matching the tree again.
build >/dev/null 2>&1 || true
echo "tally: caught $caught, survived $survived, stale $stale, build-failed $broken"
