#!/usr/bin/env bash
# Builds the libFuzzer harnesses with clang and runs each for a short, fixed time; a crash
# fails the run. The seed is fixed (FUZZ_SEED, default 1) so a failure can be replayed; longer
# runs with other seeds are for hunting (FUZZ_SECONDS=600 FUZZ_SEED=$RANDOM). Harnesses live in tests/fuzz (one <name>_fuzzer.cpp each, with a corpus
# folder of the same name beside it when there are seeds).
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${FUZZ_SECONDS:-20}
# Several harnesses write each input as a file (a mail folder, a preferences file, a registry
# entry): in memory, so the disk does not set their pace.
if [[ -z ${TMPDIR:-} && -d /dev/shm && -w /dev/shm ]]; then
  export TMPDIR=/dev/shm
fi
if ! ls tests/fuzz/*_fuzzer.cpp >/dev/null 2>&1; then
  echo "fuzz: no harnesses yet"
  exit 0
fi
cmake --preset fuzz >/dev/null
# Only the harnesses: each compiles in the code it exercises, so the rest of the tree need not
# build with clang for fuzzing to run.
targets=()
for src in tests/fuzz/*_fuzzer.cpp; do targets+=("$(basename "$src" .cpp)"); done
cmake --build --preset fuzz --target "${targets[@]}"
for bin in build/fuzz/bin/*_fuzzer; do
  name=$(basename "$bin")
  corpus=build/fuzz/corpus/$name
  mkdir -p "$corpus"
  seeds=tests/fuzz/${name%_fuzzer}
  args=("$corpus")
  [[ -d $seeds ]] && args+=("$seeds")
  echo "fuzz: $name for ${seconds}s"
  "$bin" -seed="${FUZZ_SEED:-1}" -max_total_time="$seconds" -print_final_stats=0 "${args[@]}" 2>build/fuzz/$name.log || {
    tail -n 40 build/fuzz/$name.log
    echo "fuzz: $name failed" >&2
    exit 1
  }
done
echo "fuzz: all harnesses ran clean"
