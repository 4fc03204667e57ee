# SPDX-License-Identifier: Apache-2.0
"""Distance images of a time-of-flight camera: recordings as arrays, the algorithm, and the tools around it.

    import qor

    qor.simulate("room.zelta", scene="room", frames=3)
    with qor.Pipeline(settings={"minAmplitude": 50}) as pipeline:
        for frame in pipeline.frames("room.zelta"):
            print(frame.distance.mean())

Distances are in metres, exposure times in microseconds, images have the shape (172, 224). docs/python.md tells more.
"""

from ._command import evaluate, export, importing, metrics, run, simulate
from ._errors import (DataError, Error, Finding, PipelineBusy, PipelineError, RecordError, RecordingError,
                      UsageError)
from ._pipeline import Pipeline
from ._qor import __version__
from ._recordings import Frame, Frames, Packet, RawFrame, Recording, channels, open
from ._records import Record

__all__ = [
    "DataError", "Error", "Finding", "Frame", "Frames", "Packet", "Pipeline", "PipelineBusy", "PipelineError",
    "RawFrame", "Record", "RecordError", "Recording", "RecordingError", "UsageError", "__version__", "channels",
    "evaluate", "export", "importing", "metrics", "open", "run", "simulate",
]
