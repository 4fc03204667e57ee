# SPDX-License-Identifier: Apache-2.0
"""qor.Pipeline: the images of qor run, from packets and from raw phases; one in a process; threads."""

import threading
import time
import warnings

import numpy
import pytest

import qor


@pytest.fixture
def pipeline():
    with qor.Pipeline() as one:
        yield one


def images_of(frame):
    return [frame.distance, frame.amplitude, frame.confidence, frame.noise, frame.x, frame.y, frame.z]


def equal(frames, others):
    frames, others = list(frames), list(others)
    assert len(frames) == len(others) > 0
    for frame, other in zip(frames, others):
        for one, two in zip(images_of(frame), images_of(other)):
            assert (one is None) == (two is None)
            assert one is None or numpy.array_equal(one, two)


def test_frames_are_those_that_qor_run_writes(pipeline, wall, result):
    equal(pipeline.frames(wall), qor.open(result).frames)


def test_bytes_and_packets_give_the_same_frames(pipeline, wall):
    frames = [pipeline.process(packet) for packet in qor.open(wall)]
    pipeline.close()
    with qor.Pipeline() as other:
        again = [other.process(bytes(packet)) for packet in qor.open(wall)]
    assert [frame is None for frame in frames] == [frame is None for frame in again]
    equal(filter(None, frames), filter(None, again))


def test_raw_phases_give_the_frames_of_their_recording(wall, result):
    with qor.Pipeline(calibration=wall) as pipeline:
        equal([pipeline.process_images(frame.images) for frame in qor.open(wall).frames], qor.open(result).frames)


def test_raw_phases_go_on_after_the_recording_ends(wall):
    images = qor.open(wall).frames[0].images
    with warnings.catch_warnings():
        warnings.simplefilter("error")
        with qor.Pipeline(calibration=wall) as pipeline:
            frames = [pipeline.process_images(images) for _ in range(12)]
    assert [frame.number for frame in frames] == list(range(12))
    assert all(numpy.array_equal(frames[0].distance, frame.distance) for frame in frames)


@pytest.mark.parametrize("images, fault", [
    (numpy.zeros((4, 172, 224)), "have the shape"),
    (numpy.full((5, 172, 224), 4096), "no whole number from 0 to 4095"),
    (numpy.full((5, 172, 224), -1), "no whole number from 0 to 4095"),
    (numpy.full((5, 172, 224), 0.5), "no whole number from 0 to 4095"),
])
def test_other_raw_phases_are_refused(wall, images, fault):
    with qor.Pipeline(calibration=wall) as pipeline:
        with pytest.raises(qor.UsageError, match=fault):
            pipeline.process_images(images)


def test_raw_phases_need_a_recording(pipeline):
    with pytest.raises(qor.UsageError, match="give one with images as calibration"):
        pipeline.process_images(numpy.zeros((4, 172, 224), numpy.uint16))


def test_a_result_is_measured_beside_a_pipeline(pipeline, result):
    assert qor.metrics(result)["figures"]["frames"] == 3


def test_a_second_pipeline_is_refused_with_the_way_out(pipeline, wall, tmp_path):
    way_out = r"qor.run\(recordings, output, processes=N\)"
    with pytest.raises(qor.PipelineBusy, match=way_out):
        qor.Pipeline()
    with pytest.raises(qor.PipelineBusy, match=way_out):
        qor.metrics(wall)
    with pytest.raises(qor.PipelineBusy, match=way_out):
        qor.run(wall, tmp_path / "out")
    document = qor.run(wall, tmp_path / "apart", processes=1)
    assert document["command"] == "run"


def test_after_the_first_is_closed_another_begins(wall, result):
    first = qor.Pipeline()
    frame = next(pipeline_frame for pipeline_frame in first.frames(wall))
    distance = frame.distance
    first.close()
    assert first.closed
    with pytest.raises(qor.Error, match="closed"):
        first.process(qor.open(wall)[0])
    with qor.Pipeline() as second:
        equal(second.frames(wall), qor.open(result).frames)
    assert numpy.array_equal(distance, qor.open(result).frames[0].distance)


def test_a_pipeline_that_could_not_begin_leaves_its_place(wall, tmp_path):
    with pytest.raises(qor.PipelineError, match="Cannot open the plug-in"):
        qor.Pipeline(plugin=tmp_path / "nothing.so")
    with pytest.raises(qor.RecordError, match="sets nothing"):
        qor.Pipeline({"minAmplitude": ""})
    with pytest.raises(qor.RecordingError, match="No such file"):
        qor.Pipeline(calibration=tmp_path / "nothing.zelta")
    with qor.Pipeline() as pipeline:
        assert pipeline.version.count(".") == 2


@pytest.mark.parametrize("settings", [
    {"minAmplitude": 400},
    {"filterSet.spatialFilter": "median"},
    {"QorDistanceImageIFInput.customization.filterSet.spatialFilter": "bilateral"},
    {"disableCalcCartesian": True},
])
def test_settings_are_those_of_the_command(wall, tmp_path, settings):
    qor.run(wall, tmp_path, settings)
    with qor.Pipeline(settings) as pipeline:
        equal(pipeline.frames(wall), qor.open(tmp_path / "result.zelta").frames)
    with qor.Pipeline(tmp_path / "settings.txt") as pipeline:
        equal(pipeline.frames(wall), qor.open(tmp_path / "result.zelta").frames)


def test_a_setting_that_the_record_does_not_have_is_refused(wall):
    with qor.Pipeline({"minAmplitudes": 1}) as pipeline:
        with pytest.raises(qor.RecordError, match="addresses nothing in this record.*minAmplitude"):
            list(pipeline.frames(wall))
    with qor.Pipeline({"NoRecord.member": 1}) as pipeline:
        with pytest.raises(qor.UsageError, match="no packet so far holds a record NoRecord"):
            list(pipeline.frames(wall))


def test_debug_records_come_on_request(wall):
    with qor.Pipeline(debug=True) as pipeline:
        for packet in qor.open(wall):
            pipeline.process(packet)
        assert {"state", "debug", "profiling", "pipeline_output"} <= {
            name for name, number in qor.channels.items() if number in pipeline.records.channels}
        assert pipeline.records.profiling.members
    with qor.Pipeline() as pipeline:
        list(pipeline.frames(wall))
        assert pipeline.records is None


def test_a_frame_without_an_image_is_told_and_the_next_one_is_whole(wall, result):
    packets = [packet for packet in qor.open(wall)]
    del packets[3]
    frames = []
    with qor.Pipeline() as pipeline, pytest.warns(qor.Finding, match="Frame 0 is incomplete: image 2 is missing"):
        for packet in packets:
            frames.append(pipeline.process(packet))
    assert sum(frame is not None for frame in frames) == 2


def test_a_stage_that_fails_is_told(wall):
    with qor.Pipeline({"filterSet.spatialFilter": "median", "filterSet.spatMedianSettings.maskSize": 7}) as pipeline:
        with pytest.warns(qor.Finding, match="went on without a stage"):
            list(pipeline.frames(wall))


def test_bytes_that_are_no_packet_are_refused(pipeline):
    with pytest.raises(qor.RecordingError, match="no packet"):
        pipeline.process(b"nothing at all")


def ticks_during(work):
    """How often another thread ran while the work did, and for how long the work ran."""
    ticks = []
    stop = threading.Event()

    def tick():
        while not stop.is_set():
            ticks.append(time.perf_counter())
            time.sleep(0.001)

    thread = threading.Thread(target=tick)
    thread.start()
    try:
        start = time.perf_counter()
        work()
        end = time.perf_counter()
    finally:
        stop.set()
        thread.join()
    return sum(start < each < end for each in ticks), end - start


def test_other_threads_run_while_a_command_computes(tmp_path):
    ticks, seconds = ticks_during(lambda: qor.simulate(tmp_path / "long.zelta", frames=60))
    assert seconds > 0.05 and ticks >= 3


def test_other_threads_run_while_a_packet_waits_for_its_turn(pipeline, wall, tmp_path):
    """A command computes in a second thread; the packet comes after it, and a third thread goes on meanwhile."""
    packet = qor.open(wall)[0]
    other = threading.Thread(target=qor.simulate, args=(tmp_path / "long.zelta",), kwargs={"frames": 60})
    other.start()
    time.sleep(0.02)
    ticks, seconds = ticks_during(lambda: pipeline.process(packet))
    other.join()
    assert seconds > 0.02 and ticks >= 3


def test_threads_that_read_and_compute_at_once_get_the_same(wall, result):
    expected = [frame.distance.copy() for frame in qor.open(result).frames]
    faults = []
    stop = threading.Event()

    def read():
        while not stop.is_set():
            for frame, other in zip(qor.open(result).frames, expected):
                if not numpy.array_equal(frame.distance, other):
                    faults.append(frame.number)

    threads = [threading.Thread(target=read) for _ in range(3)]
    for thread in threads:
        thread.start()
    try:
        for _ in range(3):
            with qor.Pipeline({"minAmplitude": 20}) as pipeline:
                got = [frame.distance.copy() for frame in pipeline.frames(wall)]
            assert all(numpy.array_equal(a, b) for a, b in zip(got, expected))
    finally:
        stop.set()
        for thread in threads:
            thread.join()
    assert not faults
