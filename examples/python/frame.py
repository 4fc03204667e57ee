# SPDX-License-Identifier: Apache-2.0
"""A frame: distance, amplitude and its points in space, straight from a recording.

    python3 examples/python/frame.py --out out/python
"""

import argparse
import pathlib

import matplotlib.pyplot as plt
import numpy

import qor


def draw(frame: qor.Frame, picture: pathlib.Path) -> None:
    figure = plt.figure(figsize=(13, 4))
    distance = numpy.where(frame.usable, frame.distance, numpy.nan)
    for place, (image, title, colors) in enumerate(((distance, "distance, m", "turbo"),
                                                    (frame.amplitude, "amplitude, counts/us", "gray")), 1):
        axes = figure.add_subplot(1, 3, place, title=title)
        figure.colorbar(axes.imshow(image, cmap=colors), ax=axes, shrink=0.8)
    axes = figure.add_subplot(1, 3, 3, projection="3d", title="points, m")
    points = frame.points
    if points is not None:
        x, y, z = points[::4, ::4].reshape(-1, 3).T
        axes.scatter(x, z, -y, c=z, s=1, cmap="turbo")
    figure.tight_layout()
    figure.savefig(picture, dpi=80)


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--out", type=pathlib.Path, default=pathlib.Path("out/python"))
    folder = parser.parse_args().out
    folder.mkdir(parents=True, exist_ok=True)
    qor.simulate(folder / "room.zelta", scene="room", exposures=[400, 1600])
    with qor.Pipeline() as pipeline:
        frame = next(pipeline.frames(folder / "room.zelta"))
    draw(frame, folder / "frame.png")
    print(f"{100 * frame.usable.mean():.1f} % of the pixels usable; {folder / 'frame.png'}")


if __name__ == "__main__":
    main()
