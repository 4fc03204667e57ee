# SPDX-License-Identifier: Apache-2.0
"""qor.open: packets, frames, members; zero copy; damage; other senders' layouts."""

import os
import subprocess
import sys

import numpy
import pytest

import qor
from command_line import command

INPUT = "QorDistanceImageIFInput.phaseInfo."


def test_packets_are_those_that_the_command_counts(wall):
    recording = qor.open(wall)
    assert len(recording) == command("info", wall)["packets"]
    assert [packet.index for packet in recording] == list(range(len(recording)))
    assert recording.damage is None
    assert recording.kind == "recording"


def test_a_packet_gives_its_records_by_number_name_and_attribute(wall):
    packet = qor.open(wall)[1]
    assert packet.channels[:2] == (3208, 3200) or set(packet.channels) >= {3208, 3200}
    assert packet[3208].expression == packet["input"].expression == packet.input.expression
    assert "input" in packet and 3208 in packet and "result" not in packet
    assert packet.get("result") is None
    with pytest.raises(KeyError, match="no record on channel 'result'"):
        packet["result"]


def test_members_by_attribute_and_by_expression_are_the_same_number(wall):
    for packet in qor.open(wall)[1:6]:
        record = packet.input
        exposure = record.phaseInfo.exposureTime
        assert exposure == record["phaseInfo.exposureTime"] == record[INPUT + "exposureTime"]
        assert exposure == record.phaseInfo["exposureTime"] == record.array["phaseInfo"]["exposureTime"]


def test_members_are_those_that_the_command_shows(wall):
    document = command("show", wall, 3208, INPUT + "frameCounter", "--all")
    text = str(document)
    for packet in qor.open(wall)[1:]:
        assert str(int(packet.input.phaseInfo.frameCounter)) in text


def test_elements_of_arrays_of_records_are_addressed_by_number(room):
    truth = qor.open(room)[1].frequency_truth
    assert len(truth.frequencies) == 2 and truth.frequencies.array.shape == (2,)
    part = truth.frequencies[1].exposures[0]
    assert part.expression == "FrequencyTruth.frequencies[1].exposures[0]"
    expected = part.rawAmplitude
    assert expected.shape == (172, 224) and expected.max() > 0
    assert numpy.array_equal(expected, truth["frequencies[1].exposures[0].rawAmplitude"])
    assert numpy.array_equal(expected, truth.frequencies[1]["exposures[0].rawAmplitude"])
    assert numpy.array_equal(expected[3], part["rawAmplitude[3]"])
    assert not numpy.array_equal(expected, truth.frequencies[0].exposures[0].rawAmplitude)
    with pytest.raises(IndexError):
        truth.frequencies[2]
    with pytest.raises(TypeError, match="is one record"):
        truth[0]


def test_an_unknown_member_is_told_with_the_nearest(wall):
    record = qor.open(wall)[1].input
    with pytest.raises(AttributeError, match="did you mean 'phaseInfo'"):
        record.phaseinfo
    with pytest.raises(qor.RecordError, match="addresses nothing in the record QorDistanceImageIFInput"):
        record["phaseInfo.nothing"]
    with pytest.raises(qor.RecordError, match="addresses nothing"):
        record["phaseInfo.exposureTime[1]"]


def test_images_lie_in_the_mapped_file_and_cannot_be_written(result):
    frame = qor.open(result).frames[0]
    image = frame.distance
    assert image.shape == (172, 224) and image.dtype == numpy.float32
    assert not image.flags.writeable and not image.flags.owndata
    packet = numpy.frombuffer(frame.packet._bytes, numpy.uint8)
    assert numpy.shares_memory(image, packet)
    with pytest.raises(ValueError):
        image[0, 0] = 1
    with pytest.raises(ValueError):
        image.setflags(write=True)


def test_an_array_keeps_the_file_mapped(result):
    image = qor.open(result).frames[0].distance
    expected = image.copy()
    assert numpy.array_equal(image, expected)
    assert expected.max() > 0.5


def test_frames_by_number_and_by_iteration_are_the_same(result, wall):
    for path, count in ((result, 3), (wall, 3)):
        frames = qor.open(path).frames
        assert len(frames) == count
        assert [frame.number for frame in frames] == [0, 1, 2]
        assert frames[-1].number == 2 and [frame.number for frame in frames[1:]] == [1, 2]
        with pytest.raises(IndexError, match="has 3 frames; there is no frame 3"):
            frames[3]
        with pytest.raises(IndexError):
            frames[-4]


def test_a_raw_frame_has_its_images(room):
    frame = qor.open(room).frames[1]
    assert frame.images.shape == (16, 172, 224)
    assert frame.images.dtype == numpy.uint16 and frame.images.max() <= 4095
    assert frame.settings("phaseInfo.exposureTime").tolist() == [400] * 4 + [1600] * 4 + [400] * 4 + [1600] * 4
    assert frame.settings("phaseInfo.freqIdx").tolist() == [0] * 8 + [1] * 8


def test_usable_pixels_are_those_of_the_figures(result):
    frame = qor.open(result).frames[0]
    figures = qor.metrics(result, frames="0:1")["figures"]
    assert frame.usable.mean() == pytest.approx(figures["usable_share"], abs=1e-12)


def test_points_are_not_a_number_where_a_pixel_is_not_usable(result):
    frame = qor.open(result).frames[0]
    assert frame.points.shape == (172, 224, 3)
    assert numpy.array_equal(numpy.isnan(frame.points[..., 2]), ~frame.usable)
    assert numpy.array_equal(frame.points[frame.usable][:, 2], frame.z[frame.usable])


def test_a_container_holds_the_same_packets(wall, folder):
    container = folder / "wall.zeltaz"
    command("extract", wall, "--out", container)
    packed = qor.open(container)
    assert packed.is_container and packed.damage is None
    assert [bytes(packet) for packet in packed] == [bytes(packet) for packet in qor.open(wall)]


@pytest.mark.parametrize("name", ["wall.zelta", "cut.zeltaz"])
def test_a_recording_that_is_cut_off_is_used_up_to_the_damage(wall, tmp_path, name):
    whole = tmp_path / ("whole" + os.path.splitext(name)[1])
    command("extract", wall, "--out", whole)
    cut = tmp_path / name
    cut.write_bytes(whole.read_bytes()[:-200_000])
    recording = qor.open(cut)
    seen = []
    with pytest.raises(qor.RecordingError, match=f"{name} is damaged at byte .*, in packet"):
        for packet in recording:
            seen.append(bytes(packet))
    assert seen and len(recording) == len(seen)
    assert seen == [bytes(packet) for packet in qor.open(wall)[:len(seen)]]
    assert "in packet" in recording.damage


def test_what_cannot_be_opened_is_told_by_name(tmp_path):
    with pytest.raises(qor.RecordingError, match="nothing.zelta: No such file"):
        qor.open(tmp_path / "nothing.zelta")
    with pytest.raises(qor.RecordingError, match="it is a folder"):
        qor.open(tmp_path)
    pipe = tmp_path / "pipe"
    os.mkfifo(pipe)
    with pytest.raises(qor.RecordingError, match="only a file"):
        qor.open(pipe)


def test_an_empty_file_has_no_packets(tmp_path):
    empty = tmp_path / "empty.zelta"
    empty.write_bytes(b"")
    assert len(qor.open(empty)) == 0 and len(qor.open(empty).frames) == 0


def test_random_bytes_are_no_packets(tmp_path):
    seed = int.from_bytes(os.urandom(4), "little")
    print("seed", seed)
    random = numpy.random.default_rng(seed)
    for size in (1, 3, 4, 20, 1000):
        path = tmp_path / "random.zelta"
        path.write_bytes(b"\xff" + random.bytes(size))
        recording = qor.open(path)
        with pytest.raises(qor.RecordingError, match="damaged"):
            list(recording)


def test_flipped_bytes_in_packets_are_told_or_harmless(wall):
    """Whatever stands in a definition or a record: an exception of the package or an array within the packet."""
    seed = int.from_bytes(os.urandom(4), "little")
    print("seed", seed)
    random = numpy.random.default_rng(seed)
    packet = qor.open(wall)[1]
    good = bytes(packet)
    begin = good.index(bytes.fromhex("67452301")) + 4
    for _ in range(300):
        data = bytearray(good)
        for at in random.integers(begin, begin + 2000, 3):
            data[at] = random.integers(256)
        try:
            changed = qor.Packet(data)
            for record in changed:
                record.array.tobytes()
                for member in record.members:
                    record[member]
        except qor.Error:
            pass


MEMORY = """
import sys, qor
def resident():
    with open("/proc/self/status") as status:
        return next(int(line.split()[1]) for line in status if line.startswith("VmHWM")) / 1000
before = resident()
recording = qor.open(sys.argv[1])
first, last = recording.frames[0], recording.frames[-1]
values = float(first.distance.mean()), float(last.distance.mean())
print(recording.frames[-1].number, resident() - before, *values)
"""


def test_the_first_and_the_last_image_of_a_gigabyte_take_less_than_50_mb(result, tmp_path, python_environment):
    """Peak memory, by the kernel's account, with the file in its cache."""
    data = result.read_bytes()
    large = tmp_path / "large.zelta"
    copies = 1_000_000_000 // len(data) + 1
    with open(large, "wb") as file:
        for _ in range(copies):
            file.write(data)
    assert large.stat().st_size >= 1_000_000_000
    done = subprocess.run([sys.executable, "-c", MEMORY, large], env=python_environment, check=True,
                          stdout=subprocess.PIPE, text=True)
    large.unlink()
    number, grown, first, last = map(float, done.stdout.split())
    print("peak growth", grown, "MB")
    assert number == 3 * copies - 1
    assert grown < 50
    frames = qor.open(result).frames
    assert (first, last) == (float(frames[0].distance.mean()), float(frames[-1].distance.mean()))


def test_a_data_set_has_the_images_and_their_units(result, wall):
    data = qor.open(result).to_xarray()
    assert dict(data.sizes)["frame"] == 3
    assert data.distance.dims == ("frame", "y", "x") and data.distance.units == "m"
    assert numpy.array_equal(data.distance[1], qor.open(result).frames[1].distance)
    assert data.points.dims == ("frame", "y", "x", "axis")
    raw = qor.open(wall).to_xarray(slice(1, 3))
    assert raw.raw.shape == (2, 5, 172, 224) and raw.frame.values.tolist() == [1, 2]


def test_without_xarray_the_error_names_the_package(result, monkeypatch):
    monkeypatch.setitem(sys.modules, "xarray", None)
    with pytest.raises(ImportError, match="python3-xarray"):
        qor.open(result).to_xarray()
