# SPDX-License-Identifier: Apache-2.0
"""A sweep over a setting: error and share of valid pixels over the least amplitude, for each spatial filter.

    python3 examples/python/sweep.py --out out/python
"""

import argparse
import pathlib

import matplotlib.pyplot as plt

import qor

AMPLITUDES = [10, 50, 100, 200, 400, 800]  # raw counts
FILTERS = ["none", "median", "bilateral"]


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--out", type=pathlib.Path, default=pathlib.Path("out/python"))
    folder = parser.parse_args().out
    folder.mkdir(parents=True, exist_ok=True)
    qor.simulate(folder / "sweep.zelta", scene="room", frames=2)
    figure, (errors, shares) = plt.subplots(1, 2, figsize=(11, 4))
    for kind in FILTERS:
        rows = [qor.evaluate(folder / "sweep.zelta", {"filterSet.spatialFilter": kind, "minAmplitude": amplitude})
                for amplitude in AMPLITUDES]
        errors.plot(AMPLITUDES, [row["rms_mm"] for row in rows], "o-", label=kind)
        shares.plot(AMPLITUDES, [row["valid_share"] for row in rows], "o-", label=kind)
    errors.set(xscale="log", xlabel="minAmplitude, counts", ylabel="rms_mm", title="Error")
    shares.set(xscale="log", xlabel="minAmplitude, counts", ylabel="valid_share", title="Valid pixels")
    errors.legend(title="spatialFilter")
    figure.tight_layout()
    figure.savefig(folder / "sweep.png", dpi=80)
    print(folder / "sweep.png")


if __name__ == "__main__":
    main()
