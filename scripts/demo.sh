#!/usr/bin/env bash
# usage: scripts/demo.sh
# Installs what is missing, builds, mixes a human voice with the sounds of a city, neither of which the
# training heard, cleans it with the model that ships, and prints the signal-to-noise ratio before and
# after. The audio and a picture of the spectrograms are left in demo/.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install_packages.sh cmake g++ ninja-build pkg-config \
    ladspa-sdk libcli11-dev libgtest-dev libsndfile1-dev libxsimd-dev lv2-dev nlohmann-json3-dev \
    alsa-utils gnuplot-nox sox

if command -v ccache >/dev/null; then
    export CMAKE_CXX_COMPILER_LAUNCHER=ccache CMAKE_C_COMPILER_LAUNCHER=ccache
fi
jobs=$(nproc 2>/dev/null || getconf _NPROCESSORS_ONLN)
mkdir -p build demo
cmake --preset release >build/release.log || { cat build/release.log; exit 1; }
cmake --build build/release -j "$jobs" --target sorvane sorvane_demo -- --quiet

# Traffic, a market and a train, of the sounds of Debian's lincity-ng-data (GPL-2+).
noise=build/demo/noise.wav
if [ ! -e $noise ]; then
    mkdir -p build/demo
    (cd build/demo && apt-get download -qq -o APT::Sandbox::User=root lincity-ng-data)
    dpkg-deb -x build/demo/lincity-ng-data_*.deb build/demo
    city=build/demo/usr/share/games/lincity-ng/sounds
    for name in TraficHigh1 MarketFull1 RailTrain2; do
        sox $city/$name.wav -r 48000 -c 1 build/demo/$name.wav norm -20
    done
    sox build/demo/{TraficHigh1,MarketFull1,RailTrain2}.wav $noise
    rm -rf build/demo/usr build/demo/*.deb
fi

bin=build/release/bin
model=models/speech-48k.model
sounds=/usr/share/sounds/alsa
"$bin/sorvane_demo" mix demo/voice.wav demo/noisy.wav 5 $noise \
    "$sounds"/{Front_Center,Front_Left,Front_Right,Side_Left,Side_Right,Rear_Left,Rear_Right}.wav
"$bin/sorvane" process "$model" demo/noisy.wav demo/cleaned.wav --gain Noise=0 --force

echo "Signal-to-noise ratio"
echo "  before: $("$bin/sorvane_demo" snr demo/voice.wav demo/noisy.wav)"
echo "  after:  $("$bin/sorvane_demo" snr demo/voice.wav demo/cleaned.wav)"

for name in voice noisy cleaned; do
    "$bin/sorvane_demo" spectrogram "demo/$name.wav" >"build/$name.dat"
done
gnuplot <<'PLOT'
set terminal pngcairo size 1400,1200
set output "demo/spectrograms.png"
set multiplot layout 3,1
set view map
set palette defined (0 "#000004", 1 "#51127c", 2 "#b73779", 3 "#fc8961", 4 "#fcfdbf")
set cbrange [-100:-20]
set cblabel "dBFS"
set xlabel "seconds"
set ylabel "kHz"
set autoscale xfix
set autoscale yfix
unset key
set title "The voice alone"
plot "build/voice.dat" using 1:2:3 with image
set title "Voice and noise"
plot "build/noisy.dat" using 1:2:3 with image
set title "What the model leaves of it"
plot "build/cleaned.dat" using 1:2:3 with image
unset multiplot
PLOT
echo "Left in demo/: voice.wav, noisy.wav, cleaned.wav, spectrograms.png"
