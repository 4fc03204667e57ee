# SPDX-License-Identifier: Apache-2.0
"""Other senders: another order of members, other offsets, another byte order, the same values."""

import numpy
import pytest

import qor
import sender


@pytest.fixture(scope="module")
def foreign(wall, tmp_path_factory):
    path = tmp_path_factory.mktemp("foreign") / "foreign.zelta"
    path.write_bytes(b"".join(sender.resent(packet) for packet in qor.open(wall)))
    return path


def same(one, other):
    if isinstance(one, qor.Record):
        assert set(one.members) == set(other.members)
        if one.array.shape:
            return len(one) == len(other) and all(same(one[k], other[k]) for k in range(len(one)))
        return all(same(one[member], other[member]) for member in one.members)
    return numpy.array_equal(one, other, equal_nan=numpy.asarray(one).dtype.kind == "f")


def test_records_of_another_layout_and_byte_order_read_the_same(wall, foreign):
    ours, theirs = qor.open(wall), qor.open(foreign)
    assert len(ours) == len(theirs)
    assert theirs[1].input.array.dtype["phaseInfo"]["timestamp"].byteorder == ">"
    for one, other in zip(ours[:7], theirs[:7]):
        assert one.channels == other.channels
        for a, b in zip(one, other):
            assert same(a, b)


def test_frames_of_another_sender_are_the_same(wall, foreign):
    for ours, theirs in zip(qor.open(wall).frames, qor.open(foreign).frames):
        assert numpy.array_equal(ours.images, theirs.images)


def test_the_pipeline_gives_the_same_images_for_another_sender(wall, foreign):
    images = []
    for path in (wall, foreign):
        with qor.Pipeline() as pipeline:
            images.append([frame.distance.copy() for frame in pipeline.frames(path)])
    assert len(images[0]) == 3
    assert all(numpy.array_equal(a, b) for a, b in zip(*images))


def test_a_setting_reaches_a_record_of_another_sender(wall, foreign):
    counts = []
    for path in (wall, foreign):
        with qor.Pipeline({"minAmplitude": 400}) as pipeline:
            counts.append([int(frame.usable.sum()) for frame in pipeline.frames(path)])
    assert counts[0] == counts[1]


def test_a_definition_that_does_not_fit_its_data_is_refused():
    dtype = numpy.dtype([("a", "<f4")])
    packet = qor.Packet(sender.packet((7, sender.definition("R", dtype, sender.LITTLE), b"\0" * 8)))
    with pytest.raises(qor.RecordError, match="R on channel 7 has 8 bytes, where its definition says 4"):
        packet[7]


def test_of_members_with_the_same_name_the_first_counts():
    text = sender.definition("R", numpy.dtype([("a", "<u2"), ("b", "<u2")]), sender.LITTLE)
    text = text.replace(b"\x00\x00\x00\x01b", b"\x00\x00\x00\x01a")
    record = qor.Packet(sender.packet((7, text, b"\1\0\2\0")))[7]
    assert record.members == ("a",) and record.a == record["R.a"] == 1


def test_a_number_of_odd_size_is_bytes():
    dtype = numpy.dtype([("a", "<u4"), ("b", "<u2")])
    text = sender.definition("R", dtype, sender.LITTLE).replace(b"g\x00\x00\x00\x04", b"g\x00\x00\x00\x03")
    record = qor.Packet(sender.packet((7, text, b"\1\2\3\0\5\0")))[7]
    assert bytes(record.a) == b"\1\2\3" and record.b == 5


@pytest.mark.parametrize("definition", [b"\xda\xde\x03\x00", b"nothing", b"\xda\xde\x09\x00" + b"\0" * 20])
def test_a_damaged_definition_is_told(definition):
    with pytest.raises(qor.RecordError, match="is (damaged|empty)"):
        qor.Packet(sender.packet((7, definition, b"\0" * 8)))[7]
