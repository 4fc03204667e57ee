# SPDX-License-Identifier: Apache-2.0
"""Frames as data sets of xarray."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any, Callable, Sequence

import numpy

from ._recordings import AnyFrame, Frame, Recording

if TYPE_CHECKING:
    import xarray

_PIXELS = ("frame", "y", "x")

# Image, unit, what it is. Those that a frame lacks are NaN there; those that all lack are left out.
_IMAGES: Sequence[tuple[str, str, str]] = (
    ("distance", "m", "distance along the ray of the pixel"),
    ("amplitude", "counts/us", "amplitude over the exposure time"),
    ("confidence", "", "bits, docs/results.md"),
    ("noise", "m", "predicted standard deviation of the distance"),
    ("intensity", "counts", "light that is not modulated"),
)


def dataset_of(recording: Recording, frames: slice) -> "xarray.Dataset":
    try:
        import xarray
    except ImportError as error:
        raise ImportError("to_xarray() needs xarray; install the package python3-xarray.") from error
    chosen: list[AnyFrame] = recording.frames[frames]
    data = _results(chosen) if recording.kind == "result" else _raws(chosen)
    return xarray.Dataset(data, {"frame": [frame.number for frame in chosen]}, {"recording": recording.path})


def _results(frames: Sequence[Any]) -> dict[str, Any]:
    data: dict[str, Any] = {"timestamp": ("frame", [frame.timestamp for frame in frames], {"units": "us"})}
    for name, unit, meaning in _IMAGES:
        images = _stacked(frames, lambda frame, name=name: getattr(frame, name))  # type: ignore[misc]
        if images is not None:
            data[name] = (_PIXELS, images, _attributes(unit, meaning))
    points = _stacked(frames, lambda frame: frame.points)
    if points is not None:
        data["points"] = ((*_PIXELS, "axis"), points, _attributes("m", "x right, y down, z ahead"))
    return data


def _stacked(frames: Sequence[Frame], image: Callable[[Frame], Any]) -> Any:
    images = [image(frame) for frame in frames]
    there = [each for each in images if each is not None]
    if not there:
        return None
    missing = numpy.full(there[0].shape, numpy.nan, numpy.float32)
    return numpy.stack([missing if each is None else each for each in images])


def _raws(frames: Sequence[Any]) -> dict[str, Any]:
    """All frames must have as many images."""
    if len({len(frame.settings("phaseInfo.timestamp")) for frame in frames}) > 1:
        raise ValueError("The frames have different numbers of images; choose frames of one kind.")
    data: dict[str, Any] = {}
    if frames:
        samples = numpy.stack([frame.images for frame in frames])
        data["raw"] = (("frame", "image", "y", "x"), samples, _attributes("counts", "samples of 12 bits"))
    for name, member, unit in (("exposure", "phaseInfo.exposureTime", "us"),
                               ("frequency_index", "phaseInfo.freqIdx", ""),
                               ("timestamp", "phaseInfo.timestamp", "us")):
        values = [frame.settings(member) for frame in frames]
        data[name] = (("frame", "image"), numpy.stack(values) if values else numpy.empty((0, 0)), {"units": unit})
    return data


def _attributes(unit: str, meaning: str) -> dict[str, str]:
    return {"units": unit, "long_name": meaning}


