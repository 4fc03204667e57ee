# SPDX-License-Identifier: Apache-2.0
"""A sender with a layout of its own: definitions written by the rules of docs/packets-and-definitions.md."""

import struct

import numpy

LITTLE, BIG = 200, 201
KINDS = {"i": 1, "u": 2, "f": 3}


def _item(tag, number):
    return bytes([tag]) + struct.pack(">I", number & 0xFFFFFFFF)


def _node(name, dtype, dimensions, offset, order):
    text = name.encode()
    head = _item(0x64, len(text)) + text + _item(0x65, len(dimensions))
    head += b"".join(struct.pack(">I", length) for length in dimensions)
    head += _item(0x66, offset) + _item(0x67, dtype.itemsize)
    if order:
        head += _item(0x68, order)
    if dtype.names is None:
        return head + _item(0x96, KINDS[dtype.kind])
    head += _item(0x96, 0xFE)
    for member in dtype.names:
        part, at = dtype.fields[member][:2]
        element, shape = part.subdtype or (part, ())
        head += _node(member, element, shape, offset + at, None)
    return head + _item(0x96, 0xFF)


def definition(name, dtype, order):
    """A plain definition of version 0x0300."""
    payload = _node(name, dtype, (), 0, order)
    return b"\xda\xde\x03\x00" + struct.pack(">BBHIB", 0, 0, 0, len(payload), 0) + payload


def packet(*chunks):
    """Of (channel, definition, record)."""
    data = struct.pack("<I", len(chunks))
    for channel, text, record in chunks:
        data += struct.pack("<iiiI", channel, len(text), len(record), 0x01234567)
        data += text + struct.pack("<I", 0x76543210) + record + struct.pack("<I", 0x89ABCDEF)
    return data


def reversed_big_endian(dtype):
    """The same members in the opposite order, packed, big-endian."""
    if dtype.names is None:
        return dtype.newbyteorder(">")
    fields = []
    for member in reversed(dtype.names):
        part = dtype.fields[member][0]
        element, shape = part.subdtype or (part, ())
        fields.append((member, reversed_big_endian(element), shape))
    return numpy.dtype(fields)


def copy_members(source, target):
    """By name, into another layout."""
    for member in source.dtype.names:
        if source.dtype[member].base.names is None:
            target[member] = source[member]
        else:
            copy_members(source[member], target[member])


def resent(whole):
    """A packet as another sender would have sent it."""
    chunks = []
    for channel, record in zip(whole.channels, whole):
        dtype = reversed_big_endian(record.array.dtype)
        other = numpy.zeros((), dtype)
        copy_members(record.array, other)
        chunks.append((channel, definition(record.expression, dtype, BIG), other.tobytes()))
    return packet(*chunks)
