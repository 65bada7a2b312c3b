"""Draws what a model does to a sound: its spectrogram, and the mask that the network lays over it.

usage: draw_mask.py MODEL OUTPUT.png [INPUT.wav]

For models of one channel whose network sees magnitudes, of all bins or of the lowest, as those that
ship with the engine. Without an input it makes one: a gliding tone with overtones, in noise. The
parts between the lines of %% are cells for editors that know them.
"""

# %% What to draw
import struct
import sys
import wave

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt
import numpy as np

import sorvane

if len(sys.argv) not in (3, 4):
    sys.exit("usage: draw_mask.py MODEL OUTPUT.png [INPUT.wav]")
model_file, picture = sys.argv[1:3]
model = sorvane.Model(model_file)

# %% How many bins the network sees: it stands in the file's header, see docs/model-format.md
with open(model_file, "rb") as file:
    def field(layout):
        return struct.unpack("<" + layout, file.read(struct.calcsize("<" + layout)))[0]

    def text():
        return file.read(field("I"))

    current = text() == b"sorvane.model"
    field("i")  # version
    if current:
        text(), field("i"), text()  # tag, id, note
    else:
        field("h")  # type
    field("d"), field("b")  # rate, channels
    packing, bins = field("b"), field("h")
if packing != 1 or model.channels != 1 or not 0 < bins <= model.fft_length // 2 + 1:
    sys.exit("the network must see the magnitudes of one channel")

# %% The sound, as one channel of floats
if len(sys.argv) == 4:
    needed = f"the input must be a plain WAV file of 16-bit integers at {model.rate:g} Hz"
    try:
        with wave.open(sys.argv[3]) as file:
            if file.getsampwidth() != 2 or file.getframerate() != model.rate:
                sys.exit(needed)
            samples = np.frombuffer(file.readframes(file.getnframes()), "<i2") / 32768
            sound = samples.reshape(-1, file.getnchannels()).mean(axis=1)
    except (EOFError, OSError, ValueError, wave.Error) as error:
        sys.exit(f"{needed}: {str(error) or 'it ends too early'}")
else:
    time = np.arange(int(2 * model.rate)) / model.rate
    phase = 2 * np.pi * np.cumsum(220 + 80 * np.sin(2 * np.pi * 1.5 * time)) / model.rate
    tone = sum(np.sin(k * phase) / k for k in range(1, 20)) * (np.sin(2 * np.pi * 2 * time) > 0)
    sound = 0.1 * tone + 0.03 * np.random.default_rng(1).standard_normal(time.size)

# %% Its spectrogram, by the model's own transform
length, hop = model.frame_length, model.hop
if sound.size < length:
    sys.exit("the input is shorter than a frame")
hann = 0.5 - 0.5 * np.cos(2 * np.pi * (np.arange(length) + 0.5) / length)
window = np.sqrt(hann) if length < 3 * hop else hann
frames = np.lib.stride_tricks.sliding_window_view(sound, length)[::hop]
padded = np.pad(frames * window, ((0, 0), (model.fft_length - length, 0)))
magnitudes = np.abs(np.fft.rfft(padded))  # (frames, bins)

# %% The mask: the network looks ahead, so that zeros push out its last frames
ahead = np.zeros((model.latency_frames, bins))
mask = model.run(np.concatenate([magnitudes[:, :bins], ahead])[:, :, np.newaxis])
if mask is None or mask.shape[:2] != (len(magnitudes), bins):
    sys.exit("the network gives other numbers of frames or bins than it got")
mask = mask[:, :, 0]
model.close()

# %% Both, one above the other. Above the bins that the network sees there is no mask to draw
def style(values):
    step = model.rate / model.fft_length / 1000
    extent = (0, len(values) * hop / model.rate, -0.5 * step, (values.shape[1] - 0.5) * step)
    return {"origin": "lower", "aspect": "auto", "extent": extent}


levels = 20 * np.log10(magnitudes / (window.sum() / 2) + 1e-6)  # of a sine of full scale: 0 dB
figure, (upper, lower) = plt.subplots(2, 1, sharex=True, sharey=True, figsize=(12, 8))
image = upper.imshow(levels.T, cmap="magma", vmin=-100, vmax=-10, **style(levels))
figure.colorbar(image, ax=upper, label="dBFS")
upper.set_title("Spectrogram")
lower.imshow(levels.T, cmap="gray", vmin=-100, vmax=-10, **style(levels))
image = lower.imshow(mask.T, cmap="viridis", vmin=0, vmax=1, alpha=0.6, **style(mask))
lower.set_ylim(0, model.rate / 2000)
figure.colorbar(image, ax=lower, label="mask")
lower.set_title("Mask over the spectrogram")
lower.set_xlabel("seconds")
for axes in (upper, lower):
    axes.set_ylabel("kHz")
figure.tight_layout()
figure.savefig(picture, dpi=100)
