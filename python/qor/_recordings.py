# SPDX-License-Identifier: Apache-2.0
"""Recordings: packets and frames, as arrays over the mapped file."""

from __future__ import annotations

import os
from typing import TYPE_CHECKING, Any, Iterator, Optional, Sequence, Union, overload

import numpy
from numpy.typing import NDArray

from . import _qor
from ._errors import RecordingError
from ._records import Record, record_in

if TYPE_CHECKING:
    import xarray

Floats = NDArray[numpy.float32]
Path = Union[str, "os.PathLike[str]"]

#: Channel numbers by name: ``channels["result"]`` is 3210.
channels: dict[str, int] = dict(_qor.channels)

# A frame has at most 32 images, so a result shows itself within so many packets.
_MOST_PACKETS_TO_TELL = 64
_MADE_BY_ALGORITHM = ("result", "state", "pipeline_input", "pipeline_output", "debug", "profiling")
_OUTPUT = "QorDistanceImageIFOutput."
_IMAGE = (172, 224)


class Packet:
    """One packet: records by channel. ``packet["result"]``, ``packet[3210]`` and ``packet.result`` are the same.

    Its bytes stay where they are; a packet or an array of it keeps the file mapped.
    """

    __slots__ = ("_bytes",)

    def __init__(self, data: Union[_qor.PacketBytes, bytes, bytearray, memoryview]) -> None:
        """Also of bytes that a program got elsewhere. Raises ``RecordingError`` if they are no packet."""
        self._bytes = data if isinstance(data, _qor.PacketBytes) else _qor.PacketBytes(bytes(data))

    @property
    def index(self) -> int:
        """In the recording, from 0."""
        return self._bytes.index

    @property
    def offset(self) -> int:
        """In the file, bytes."""
        return self._bytes.offset

    @property
    def channels(self) -> tuple[int, ...]:
        """The channel of each chunk."""
        return tuple(chunk[0] for chunk in self._bytes.chunks)

    @property
    def raw_image(self) -> Optional[NDArray[numpy.uint16]]:
        """The samples of a raw image, 12 bits, shape (172, 224), unpacked; None if there is none.

        Raises ``RecordError`` if the record holds no whole image."""
        record = self.get("raw")
        if record is None:
            return None
        return _qor.unpack_raw_image(numpy.ascontiguousarray(record["QorRawPhaseData.phaseData"]).view(numpy.uint8))

    def get(self, channel: Union[int, str]) -> Optional[Record]:
        """The first record on a channel, by number or name; None if there is none."""
        number = channels.get(channel, -1) if isinstance(channel, str) else channel
        numbers = tuple(chunk[0] for chunk in self._bytes.chunks)
        return record_in(self._bytes, numbers.index(number)) if number in numbers else None

    def __getitem__(self, channel: Union[int, str]) -> Record:
        record = self.get(channel)
        if record is None:
            raise KeyError(f"packet {self.index} has no record on channel {channel!r}")
        return record

    def __getattr__(self, name: str) -> Record:
        record = self.get(name) if name in channels else None
        if record is None:
            raise AttributeError(f"packet {self.index} has no record {name!r}")
        return record

    def __contains__(self, channel: Union[int, str]) -> bool:
        return (channels.get(channel, -1) if isinstance(channel, str) else channel) in self.channels

    def __iter__(self) -> Iterator[Record]:
        """All records in their order."""
        return (record_in(self._bytes, number) for number in range(len(self.channels)))

    def __len__(self) -> int:
        return len(self.channels)

    def __bytes__(self) -> bytes:
        return bytes(memoryview(self._bytes))  # type: ignore[arg-type]

    @property
    def nbytes(self) -> int:
        return memoryview(self._bytes).nbytes  # type: ignore[arg-type]

    def __repr__(self) -> str:
        return f"<qor.Packet {self.index}: channels {', '.join(map(str, self.channels))}; {self.nbytes} bytes>"


class Frame:
    """A finished frame. Images have the shape (172, 224), row by row from the top; they are read-only and lie
    where the result packet does."""

    __slots__ = ("number", "packet", "record")

    def __init__(self, number: int, packet: Packet) -> None:
        #: From 0, in the order of the results.
        self.number = number
        #: The result packet, with the debug records that it has.
        self.packet = packet
        #: ``QorDistanceImageIFOutput``: all that the frame has.
        self.record = packet["result"]

    def _image(self, member: str) -> NDArray[Any]:
        image: NDArray[Any] = self.record[_OUTPUT + member]
        return image.reshape(_IMAGE)

    def _image_unless(self, flag: str, member: str) -> Optional[NDArray[Any]]:
        return self._image(member) if self.record[_OUTPUT + flag] == 0 else None

    @property
    def timestamp(self) -> int:
        """Of the latest raw image, microseconds, as the camera gave it."""
        return int(self.record[_OUTPUT + "timestamp"])

    @property
    def distance(self) -> Floats:
        """Along the ray of the pixel, metres; 0 where invalid. float32."""
        return self._image("distance")

    @property
    def amplitude(self) -> Floats:
        """Counts per microsecond. float32."""
        return self._image("normalizedAmplitude")

    @property
    def confidence(self) -> NDArray[numpy.uint8]:
        """Bits; 0x01 is invalid, docs/results.md has the others. uint8."""
        return self._image("confidence")

    @property
    def usable(self) -> NDArray[numpy.bool_]:
        """Pixels that are valid with a finite distance above 0. bool, a copy."""
        return _qor.usable(self.distance, self.confidence)

    @property
    def noise(self) -> Optional[Floats]:
        """Predicted standard deviation of the distance, metres, float32; None if it was not estimated."""
        return self._image_unless("distanceNoiseInvalid", "distanceNoise")

    @property
    def intensity(self) -> Optional[NDArray[Any]]:
        """Light that is not modulated, counts; None if it was not delivered."""
        return self._image_unless("intensityInvalid", "intensity")

    @property
    def x(self) -> Optional[Floats]:
        """To the right, metres, float32; None if the frame has no points."""
        return self._image_unless("coord3Dinvalid", "X")

    @property
    def y(self) -> Optional[Floats]:
        """Down, metres, float32; None if the frame has no points."""
        return self._image_unless("coord3Dinvalid", "Y")

    @property
    def z(self) -> Optional[Floats]:
        """Ahead, metres, float32; None if the frame has no points."""
        return self._image_unless("coord3Dinvalid", "Z")

    @property
    def points(self) -> Optional[Floats]:
        """x, y, z of each pixel, metres, shape (172, 224, 3), NaN where not usable; None if the frame has no
        points. float32, a copy."""
        if self.x is None:
            return None
        points: Floats = numpy.stack([self._image(axis) for axis in "XYZ"], axis=-1).astype(numpy.float32)
        points[~self.usable] = numpy.nan
        return points

    def __repr__(self) -> str:
        return f"<qor.Frame {self.number}: {self.timestamp} us>"


class RawFrame:
    """The packets of one frame as the camera sent them, from the image with ``sequenceCounter`` 0 on."""

    __slots__ = ("number", "packets")

    def __init__(self, number: int, packets: Sequence[Packet]) -> None:
        #: From 0, in the order of the recording.
        self.number = number
        #: Those of the frame, in their order.
        self.packets = tuple(packets)

    @property
    def images(self) -> NDArray[numpy.uint16]:
        """The samples of its raw images, 12 bits, shape (images, 172, 224), unpacked."""
        images = [image for image in (packet.raw_image for packet in self.packets) if image is not None]
        return numpy.stack(images) if images else numpy.empty((0, *_IMAGE), numpy.uint16)

    def settings(self, member: str) -> NDArray[Any]:
        """A member of the input record of each image, for example ``phaseInfo.exposureTime``, microseconds."""
        return numpy.array([packet["input"][member] for packet in self.packets if "input" in packet])

    def __repr__(self) -> str:
        return f"<qor.RawFrame {self.number}: {len(self.packets)} packets>"


AnyFrame = Union[Frame, RawFrame]


class Frames(Sequence[AnyFrame]):
    """The frames of a recording by number: ``frames[0]``, ``frames[-1]``, ``frames[2:5]``, iteration.

    Found as far as they are asked for. At a damage iteration raises ``RecordingError``; ``len`` and numbers serve
    what is before it.
    """

    def __init__(self, recording: "Recording") -> None:
        self._recording = recording
        self._starts: list[int] = []  # packet of each frame that was found
        self._searched = 0  # packets
        self._begins = _is_result if recording.kind == "result" else _begins_frame

    def _find(self, number: int) -> bool:
        while number >= len(self._starts):
            packet = self._recording._packet(self._searched)
            if packet is None:
                return False
            if self._begins(packet):
                self._starts.append(self._searched)
            self._searched += 1
        return True

    def _frame(self, number: int) -> AnyFrame:
        start = self._starts[number]
        if self._recording.kind == "result":
            return Frame(number, self._recording[start])
        after = self._starts[number + 1] if self._find(number + 1) else self._searched
        return RawFrame(number, [self._recording[index] for index in range(start, after)])

    def __iter__(self) -> Iterator[AnyFrame]:
        number = 0
        while self._find(number):
            yield self._frame(number)
            number += 1
        self._recording._raise_damage()

    def __len__(self) -> int:
        while self._find(len(self._starts)):
            pass
        return len(self._starts)

    @overload
    def __getitem__(self, number: int) -> AnyFrame: ...
    @overload
    def __getitem__(self, number: slice) -> list[AnyFrame]: ...
    def __getitem__(self, number: Union[int, slice]) -> Union[AnyFrame, list[AnyFrame]]:
        if isinstance(number, slice):
            return [self._frame(each) for each in range(*number.indices(len(self)))]
        wanted = number + len(self) if number < 0 else number
        if wanted < 0 or not self._find(wanted):
            raise IndexError(f"{self._recording.path} has {len(self)} frames; there is no frame {number}")
        return self._frame(wanted)

    def __repr__(self) -> str:
        return f"<qor.Frames of {self._recording.path}>"


def _is_result(packet: Packet) -> bool:
    return "result" in packet and packet["result"][_OUTPUT + "outputInvalid"] == 0


def _begins_frame(packet: Packet) -> bool:
    record = packet.get("input")
    return record is not None and record["QorDistanceImageIFInput.phaseInfo.sequenceCounter"] == 0


class Recording(Sequence[Packet]):
    """The packets of a recording, a sequence: ``recording[0]``, ``recording[-1]``, ``len``, iteration.

    Made by ``qor.open``. The file is mapped, not read: what is not touched takes no memory. It must not shrink while
    it is open. Of a container, ``.zeltaz``, a packet is unpacked when it is asked for. Packets are found as far as
    they are asked for; the last one or ``len`` looks through the whole file once. At a damage iteration raises
    ``RecordingError`` with the place; ``len`` and numbers serve what is before it, and ``damage`` says what it is.
    """

    def __init__(self, path: Path) -> None:
        self._file = _qor.PacketFile(os.fspath(path))
        #: As it was given.
        self.path = os.fspath(path)

    def __fspath__(self) -> str:
        return self.path

    @property
    def kind(self) -> str:
        """``"result"`` if the algorithm made it, otherwise ``"recording"``."""
        for number in range(_MOST_PACKETS_TO_TELL):
            packet = self._packet(number)
            if packet is None:
                break
            if any(name in packet for name in _MADE_BY_ALGORITHM):
                return "result"
        return "recording"

    @property
    def frames(self) -> Frames:
        """``Frame`` of a result, ``RawFrame`` of a recording of a camera."""
        return Frames(self)

    @property
    def damage(self) -> Optional[str]:
        """What is wrong with the file, with the place; None if it is whole. Looks through the whole file."""
        self._file.count()
        return self._file.damage or None

    @property
    def is_container(self) -> bool:
        """Whether its packets are compressed."""
        return self._file.is_container

    def to_xarray(self, frames: slice = slice(None)) -> "xarray.Dataset":
        """Frames as an ``xarray.Dataset`` with units, copied; dimensions frame, y, x (and image).

        Raises ``ImportError`` with what to install where xarray is missing."""
        from ._xarray import dataset_of

        return dataset_of(self, frames)

    def _packet(self, index: int) -> Optional[Packet]:
        found = self._file.packet(index)
        return None if found is None else Packet(found)

    def _raise_damage(self) -> None:
        if self._file.damage:
            raise RecordingError(self._file.damage)

    def __iter__(self) -> Iterator[Packet]:
        index = 0
        while (packet := self._packet(index)) is not None:
            yield packet
            index += 1
        self._raise_damage()

    def __len__(self) -> int:
        return self._file.count()

    @overload
    def __getitem__(self, index: int) -> Packet: ...
    @overload
    def __getitem__(self, index: slice) -> list[Packet]: ...
    def __getitem__(self, index: Union[int, slice]) -> Union[Packet, list[Packet]]:
        if isinstance(index, slice):
            return [self[each] for each in range(*index.indices(len(self)))]
        wanted = index + len(self) if index < 0 else index
        packet = self._packet(wanted) if wanted >= 0 else None
        if packet is None:
            raise IndexError(f"{self.path} has {len(self)} packets; there is no packet {index}")
        return packet

    def __repr__(self) -> str:
        return f"<qor.Recording {self.path}>"


def open(path: Path) -> Recording:
    """Opens a recording or a result, ``.zelta`` or ``.zeltaz``: its packets, and by ``.frames`` its frames.

    Raises ``RecordingError`` if there is no such file, or if it cannot be read."""
    return Recording(path)
