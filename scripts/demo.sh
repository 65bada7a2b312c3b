#!/usr/bin/env bash
# usage: scripts/demo.sh
# Installs what is missing, builds, mixes a human voice with white noise, cleans it with the model that
# ships, and prints the signal-to-noise ratio before and after. The audio and a picture of both
# spectrograms are left in demo/.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install_packages.sh cmake g++ ninja-build pkg-config \
    ladspa-sdk libcli11-dev libgtest-dev libsndfile1-dev libxsimd-dev lv2-dev nlohmann-json3-dev \
    alsa-utils gnuplot-nox

if command -v ccache >/dev/null; then
    export CMAKE_CXX_COMPILER_LAUNCHER=ccache CMAKE_C_COMPILER_LAUNCHER=ccache
fi
jobs=$(nproc 2>/dev/null || getconf _NPROCESSORS_ONLN)
mkdir -p build demo
cmake --preset release >build/release.log || { cat build/release.log; exit 1; }
cmake --build build/release -j "$jobs" --target sorvane sorvane_demo -- --quiet

bin=build/release/bin
model=models/noise-gate-48k.model
sounds=/usr/share/sounds/alsa
"$bin/sorvane_demo" mix demo/voice.wav demo/noisy.wav 10 \
    "$sounds"/{Front_Center,Front_Left,Front_Right,Side_Left,Side_Right,Rear_Left,Rear_Right}.wav
"$bin/sorvane" process "$model" demo/noisy.wav demo/cleaned.wav --gain Noise=0 --force

echo "Signal-to-noise ratio"
echo "  before: $("$bin/sorvane_demo" snr demo/voice.wav demo/noisy.wav)"
echo "  after:  $("$bin/sorvane_demo" snr demo/voice.wav demo/cleaned.wav)"

for name in noisy cleaned; do
    "$bin/sorvane_demo" spectrogram "demo/$name.wav" >"build/$name.dat"
done
gnuplot <<'PLOT'
set terminal pngcairo size 1400,900
set output "demo/spectrograms.png"
set multiplot layout 2,1
set view map
set palette defined (0 "#000004", 1 "#51127c", 2 "#b73779", 3 "#fc8961", 4 "#fcfdbf")
set cbrange [-100:-20]
set cblabel "dBFS"
set xlabel "seconds"
set ylabel "kHz"
set autoscale xfix
set autoscale yfix
unset key
set title "Voice and noise"
plot "build/noisy.dat" using 1:2:3 with image
set title "After the noise gate"
plot "build/cleaned.dat" using 1:2:3 with image
unset multiplot
PLOT
echo "Left in demo/: voice.wav, noisy.wav, cleaned.wav, spectrograms.png"
