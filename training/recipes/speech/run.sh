#!/usr/bin/env bash
# usage: [PACK=FOLDER] [MINUTES=70] training/recipes/speech/run.sh FOLDER [standard|small|large]...
# Trains speech models: installs what is missing, fetches the recordings into FOLDER/data (3 GB with the
# unpacked packages; those of PACK too, if given), makes tracks of them in FOLDER/bank, trains the sizes
# side by side in FOLDER/SIZE, each on one core for MINUTES, writes the model files to FOLDER/models, and
# measures them. Stopped and started again, it goes on where it was.
set -euo pipefail
[ $# -ge 1 ] || { sed -n '2,6s/^# //p' "$0" >&2; exit 2; }
mkdir -p "$1"
folder=$(cd "$1" && pwd)
shift
[ $# -gt 0 ] || set -- standard small
cd "$(dirname "$0")/../../.."

scripts/install_packages.sh ffmpeg libopenblas0-pthread libspeexdsp1 python3-matplotlib python3-numpy \
    python3-scipy python3-soundfile python3-torch \
    cmake g++ ninja-build pkg-config libcli11-dev libsndfile1-dev libxsimd-dev nlohmann-json3-dev
cmake --preset release -DSORVANE_BUILD_TESTS=OFF >/dev/null
cmake --build build/release --target sorvane -- --quiet

# A Python of one's own may stand before the system's and lack the packages.
for python in python3 /usr/bin/python3; do
    "$python" -c 'import numpy, scipy, soundfile, torch' 2>/dev/null && break
done
export PYTHONPATH=$PWD/training
# OpenBLAS takes slow ways on processors that are newer than it; all with AVX-512 can do what this one can.
! grep -qs avx512dq /proc/cpuinfo || export OPENBLAS_CORETYPE=SKYLAKEX
recipe=training/recipes/speech
"$python" $recipe/fetch.py --data "$folder/data" ${PACK:+--pack "$PACK"}
"$python" $recipe/bank.py --data "$folder/data" --out "$folder/bank" --parts 80

# One process a size, side by side. However this script ends, no training outlives it.
trainings=()
trap '[ ${#trainings[@]} -eq 0 ] || kill "${trainings[@]}" 2>/dev/null || true' EXIT
trap 'exit 1' HUP INT TERM
for size in "$@"; do
    "$python" $recipe/train.py --data "$folder/data" --bank "$folder/bank" --run "$folder/$size" \
        --size "$size" --minutes "${MINUTES:-70}" &
    trainings+=($!)
done
for _ in "$@"; do
    wait -n
done
trainings=()

runs=()
for size in "$@"; do
    runs+=("$folder/$size")
    "$python" $recipe/export.py --size "$size" --weights "$folder/$size/network.pt" \
        --out "$folder/models" --date "$(date +%F)"
done
"$python" $recipe/curve.py --out "$folder/curve.png" "${runs[@]}"
"$python" training/evaluate.py --data "$folder/data" --out "$folder/evaluation" "$folder"/models/*.model
