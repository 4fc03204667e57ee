# SPDX-License-Identifier: Apache-2.0
"""Noise against prediction: the standard deviation of each pixel over many frames, and the noise image.

    python3 examples/python/noise.py --out out/python
"""

import argparse
import pathlib

import matplotlib.pyplot as plt
import numpy

import qor

FRAMES = 40


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--out", type=pathlib.Path, default=pathlib.Path("out/python"))
    folder = parser.parse_args().out
    folder.mkdir(parents=True, exist_ok=True)
    qor.simulate(folder / "noise.zelta", scene="ramp", frames=FRAMES, intensity_image=True)
    settings = {"enableNoiseEstimation": True, "filterSet.spatialFilter": "none"}
    distances = []
    predictions = []
    with qor.Pipeline(settings) as pipeline:
        for frame in pipeline.frames(folder / "noise.zelta"):
            distances.append(numpy.where(frame.usable, frame.distance, numpy.nan))
            predictions.append(frame.noise)
    measured = 1000 * numpy.std(distances, axis=0, ddof=1)
    predicted = 1000 * numpy.mean(predictions, axis=0)
    good = numpy.isfinite(measured) & (predicted > 0)
    ratio = float(numpy.median(measured[good] / predicted[good]))

    figure, axes = plt.subplots(figsize=(6, 5))
    axes.plot(predicted[good], measured[good], ",", alpha=0.4)
    most = float(numpy.percentile(predicted[good], 99.5))
    axes.plot([0, most], [0, most], "k--", label="as predicted")
    axes.set(xlabel="predicted, mm", ylabel=f"measured over {FRAMES} frames, mm", xlim=(0, most),
             ylim=(0, 1.5 * most), title=f"Standard deviation of the distance; median ratio {ratio:.3f}")
    axes.legend()
    figure.savefig(folder / "noise.png", dpi=80)
    print(f"measured / predicted: {ratio:.3f}; {folder / 'noise.png'}")


if __name__ == "__main__":
    main()
