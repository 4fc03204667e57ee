# SPDX-License-Identifier: Apache-2.0
"""Records: structured arrays over the bytes of a packet, with members by attribute and by expression."""

from __future__ import annotations

import difflib
import functools
from typing import Any, NamedTuple, Union

import numpy
from numpy.typing import NDArray

from . import _qor
from ._errors import RecordError

Array = NDArray[Any]
Index = Union[int, slice, "tuple[Union[int, slice], ...]"]


class _Source(NamedTuple):
    """Where the bytes of a record are."""

    packet: _qor.PacketBytes
    definition: _qor.Definition
    start: int  # of the record in the packet, bytes


@functools.lru_cache(maxsize=4096)
def _place(definition: _qor.Definition, expression: str) -> tuple[int, numpy.dtype[Any], tuple[int, ...]]:
    return definition.place(expression)


class Record:
    """A record, or a part of it, where it lies in the file: nothing is copied, nothing can be written.

    ``record.phaseInfo.exposureTime`` is a member by its name. ``record["phaseInfo.exposureTime"]`` is the same
    by an expression of the library; ``record["QorDistanceImageIFInput.phaseInfo.exposureTime"]`` with the name
    of the record in front is the same again. A single number is a NumPy scalar, an array of numbers a read-only
    ``numpy.ndarray``, a structure another ``Record``. Layout and byte order are those of the sender. A member
    that has the name of something below is reached by its expression.

    Raises ``AttributeError`` for a member, ``RecordError`` for an expression that the record does not have.
    """

    __slots__ = ("_array", "_expression", "_source")

    def __init__(self, array: Array, expression: str, source: _Source) -> None:
        self._array = array
        self._expression = expression
        self._source = source

    @property
    def array(self) -> Array:
        """The structured array: shape () for one record, its ``dtype`` made from the definition."""
        return self._array

    @property
    def expression(self) -> str:
        """What addresses it, from the name of the record on."""
        return self._expression

    @property
    def members(self) -> tuple[str, ...]:
        """Names, in the order of the definition."""
        return self._array.dtype.names or ()

    def __getattr__(self, name: str) -> Any:
        if name.startswith("__") or name not in self.members:
            near = difflib.get_close_matches(name, self.members, 1)
            raise AttributeError(f"{self._expression} has no member {name!r}" +
                                 (f"; did you mean {near[0]!r}?" if near else ""))
        return _value(self._array[name], f"{self._expression}.{name}", self._source)

    def __getitem__(self, key: Union[str, Index]) -> Any:
        if isinstance(key, str):
            return self._at(key)
        if not self._array.shape:
            raise TypeError(f"{self._expression} is one record; it has members, and no elements by number")
        indices = key if isinstance(key, tuple) else (key,)
        text = "".join(f"[{index}]" for index in indices if isinstance(index, int))
        return _value(numpy.asarray(self._array[key]), self._expression + text, self._source)

    def _at(self, expression: str) -> Any:
        root = self._source.definition.name
        if expression != root and not expression.startswith((root + ".", root + "[")):
            expression = f"{self._expression}.{expression}" if expression else self._expression
        offset, dtype, shape = _place(self._source.definition, expression)
        array: Array = numpy.ndarray(shape, dtype, self._source.packet,  # type: ignore[arg-type]
                                     self._source.start + offset)
        return _value(array, expression, self._source)

    def __len__(self) -> int:
        return len(self._array)

    def __array__(self, dtype: Any = None) -> Array:
        return numpy.asarray(self._array, dtype)

    def __dir__(self) -> list[str]:
        return sorted([*super().__dir__(), *self.members])

    def __repr__(self) -> str:
        shape = "x".join(str(length) for length in self._array.shape)
        return f"<qor.Record {self._expression}{' ' + shape if shape else ''}: {', '.join(self.members)}>"


def _value(array: Array, expression: str, source: _Source) -> Any:
    if array.dtype.names is not None:
        return Record(array, expression, source)
    return array[()] if array.shape == () else array


def record_in(packet: _qor.PacketBytes, chunk: int) -> Record:
    """The record of a chunk. Raises ``RecordError`` if its definition is damaged or does not fit its data."""
    channel, start, size = packet.chunks[chunk]
    definition = packet.definition(chunk)
    if definition.size != size:
        raise RecordError(f"The record {definition.name} on channel {channel} has {size} bytes, where its "
                          f"definition says {definition.size}.")
    array: Array = numpy.ndarray((), definition.dtype, packet, start)  # type: ignore[arg-type]
    return Record(array, definition.name, _Source(packet, definition, start))
