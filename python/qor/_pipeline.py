# SPDX-License-Identifier: Apache-2.0
"""The algorithm in this process."""

from __future__ import annotations

import os
import warnings
from types import TracebackType
from typing import Any, Iterator, Optional, Type, Union

import numpy
from numpy.typing import NDArray

from . import _qor
from ._errors import Error, Finding, RecordingError, UsageError
from ._recordings import Frame, Packet, Path, RawFrame, Recording, _is_result, channels
from ._settings import Settings, setting_texts, settings_in_file

_PHASE_INFO = "QorDistanceImageIFInput.phaseInfo."
_COUNTER_MODULO = 4096  # of the imager's frame counter
_USUAL_PERIOD = 100_000  # microseconds from frame to frame, where a recording does not tell


class Pipeline:
    """The distance image algorithm: packets or raw phases in, frames out.

    ``settings`` is a mapping of settings, or the name of a file of them. A name is an expression such as
    ``QorDistanceImageIFInput.customization.minAmplitude``; one that begins with a small letter, such as
    ``minAmplitude`` or ``filterSet.spatialFilter``, is that of a member of the customization. Values are numbers,
    switches, names (``"median"``) or sequences of them. They are written into every packet before it is fed.

    ``calibration`` is a recording, or a packet of one, whose calibration is fed at once; packets that bring their own
    calibration need none. A recording with images is also the model of the packets that ``process_images`` makes.

    ``debug=True`` keeps the debug records of each call in ``records``. ``plugin`` names another plug-in.

    The library has one pipeline in a process: a second one raises ``PipelineBusy`` until the first is closed, by
    ``close()`` or at the end of a ``with`` block. Several at a time take several processes:
    ``qor.run(recordings, output, processes=N)``. Other threads of the interpreter run while it computes.
    """

    def __init__(self, settings: Optional[Settings] = None,
                 calibration: Union[None, Path, Recording, Packet, bytes] = None, *, debug: bool = False,
                 plugin: Optional[Path] = None) -> None:
        self._pipeline: Optional[_qor.Pipeline] = None
        #: The result packet of the latest call with all its records, None without debug or if it left none.
        self.records: Optional[Packet] = None
        self._debug = debug
        self._frames = 0
        self._model: Optional[_Model] = None
        if isinstance(settings, (str, os.PathLike)):
            settings = settings_in_file(settings)
        self._has_settings = bool(settings)
        self._pipeline = _qor.Pipeline(os.fspath(plugin) if plugin else "", setting_texts(settings), debug)
        try:
            if calibration is not None:
                self._calibrate(calibration)
        except BaseException:
            self.close()
            raise

    @property
    def version(self) -> str:
        """Of the plug-in, major.minor.patch."""
        return self._open().version

    @property
    def closed(self) -> bool:
        return self._pipeline is None

    def close(self) -> None:
        """Ends the algorithm; another pipeline may begin. Frames that it gave stay."""
        self._pipeline = None

    def __enter__(self) -> "Pipeline":
        return self

    def __exit__(self, kind: Optional[Type[BaseException]], error: Optional[BaseException],
                 trace: Optional[TracebackType]) -> None:
        self.close()

    def process(self, packet: Union[Packet, bytes, bytearray, memoryview]) -> Optional[Frame]:
        """Feeds one packet. Returns the frame that it finishes, None if it finishes none.

        Images that are missing, and stages without which a frame went on, are told as warnings, ``Finding``; the rest
        of an incomplete frame is held back, as ``qor run`` does. Raises ``PipelineError`` with the plug-in's words if
        it fails, ``RecordError`` for a setting that the record does not have, ``RecordingError`` for bytes that are no
        packet, ``Error`` if the pipeline is closed.
        """
        whole = packet if isinstance(packet, Packet) else Packet(packet)
        result, losses, error = self._open().process(whole._bytes)
        for sentence in losses:
            warnings.warn(sentence, Finding, stacklevel=2)
        if error is not None:
            warnings.warn(f"the frame went on without a stage: {error}", Finding, stacklevel=2)
        answer = None if result is None else Packet(result)
        self.records = answer if self._debug else None
        if answer is None or not _is_result(answer):
            return None
        if self._has_settings and self._frames == 0:
            self._check_settings()
        self._frames += 1
        return Frame(self._frames - 1, answer)

    def frames(self, recording: Union[Path, Recording]) -> Iterator[Frame]:
        """Feeds a recording, packet by packet, and yields the frames as they are finished.

        Raises as ``process`` does, and ``RecordingError`` at a damaged place."""
        whole = recording if isinstance(recording, Recording) else Recording(recording)
        for packet in whole:
            frame = self.process(packet)
            if frame is not None:
                yield frame

    def process_images(self, images: NDArray[Any]) -> Optional[Frame]:
        """Feeds the raw images of one frame: samples of 12 bits, whole numbers from 0 to 4095, shape
        (images, 172, 224), as many and in the order as those of a frame of the recording that was given as
        ``calibration``: for each frequency the four phases of each exposure, shortest exposure first. Exposure times
        and all else are those of that recording's first frame; counters and clock go on from frame to frame.

        Returns the frame. Raises ``UsageError`` for another shape or other samples, or without such a recording.
        """
        if self._model is None:
            raise UsageError("process_images() makes its packets after those of a recording; give one with images as "
                             "calibration.")
        frame: Optional[Frame] = None
        for packet in self._model.packets(images):
            frame = self.process(packet) or frame
        return frame

    def _open(self) -> _qor.Pipeline:
        if self._pipeline is None:
            raise Error("The pipeline is closed.")
        return self._pipeline

    def _check_settings(self) -> None:
        missing = self._open().missing_override()
        if missing:
            raise UsageError(missing)

    def _calibrate(self, calibration: Union[Path, Recording, Packet, bytes]) -> None:
        if isinstance(calibration, (Packet, bytes)):
            self.process(calibration)
            return
        recording = calibration if isinstance(calibration, Recording) else Recording(calibration)
        packet = next((packet for packet in recording if "calibration" in packet), None)
        if packet is None:
            raise RecordingError(f"{recording.path} holds no calibration.")
        self.process(packet)
        frames = recording.frames[:2]
        if frames and isinstance(frames[0], RawFrame):
            self._model = _Model([frame for frame in frames if isinstance(frame, RawFrame)])


class _Model:
    """The packets of a frame, to be filled with other images."""

    def __init__(self, frames: "list[RawFrame]") -> None:
        self._packets = [packet for packet in frames[0].packets if "raw" in packet and "input" in packet]
        times = [int(frame.settings("phaseInfo.timestamp")[0]) for frame in frames]
        self._period = (times[1] - times[0]) % 2**32 if len(times) > 1 else _USUAL_PERIOD
        self._made = 0  # frames

    def packets(self, images: NDArray[Any]) -> Iterator[bytes]:
        samples = self._checked(images)
        for packet, image in zip(self._packets, samples):
            yield self._filled(packet, image)
        self._made += 1

    def _checked(self, images: NDArray[Any]) -> NDArray[numpy.uint16]:
        images = numpy.asarray(images)
        shape = (len(self._packets), 172, 224)
        if images.shape != shape:
            raise UsageError(f"The images have the shape {images.shape}; a frame of the recording has {shape}.")
        samples = images.astype(numpy.uint16)
        if not numpy.array_equal(samples, images) or samples.max(initial=0) > 4095:
            raise UsageError("A sample is no whole number from 0 to 4095.")
        return samples

    def _filled(self, packet: Packet, image: NDArray[numpy.uint16]) -> bytes:
        data = bytearray(bytes(packet))
        raw = _qor.pack_raw_image(image)
        _write(data, packet, "raw", "QorRawPhaseData.phaseData", numpy.frombuffer(raw, numpy.uint8))
        counter = int(packet["input"][_PHASE_INFO + "frameCounter"]) + self._made * len(self._packets)
        _write(data, packet, "input", _PHASE_INFO + "frameCounter", counter % _COUNTER_MODULO)
        time = int(packet["input"][_PHASE_INFO + "timestamp"]) + self._made * self._period
        _write(data, packet, "input", _PHASE_INFO + "timestamp", time % 2**32)
        return bytes(data)


def _write(data: bytearray, packet: Packet, channel: str, expression: str, value: Any) -> None:
    """Into a copy of the packet's bytes, in the layout and byte order of its sender."""
    chunk = packet.channels.index(channels[channel])
    _, start, _ = packet._bytes.chunks[chunk]
    offset, dtype, shape = packet._bytes.definition(chunk).place(expression)
    place: NDArray[Any] = numpy.ndarray(shape, dtype, data, start + offset)
    place[...] = numpy.reshape(value, shape)
