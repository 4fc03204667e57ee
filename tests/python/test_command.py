# SPDX-License-Identifier: Apache-2.0
"""The functions that are subcommands: the same documents, figures and files as those of the command."""

import json
import os
import signal
import subprocess
import sys
import threading
import time

import numpy
import pytest

import qor
from command_line import command

MEDIAN = {"filterSet.spatialFilter": "median", "minAmplitude": 60}
MEDIAN_WORDS = ["--set", "QorDistanceImageIFInput.customization.filterSet.spatialFilter=median",
                "--set", "QorDistanceImageIFInput.customization.minAmplitude=60"]


def without_times(document):
    """Without what is measured by a clock."""
    return {name: value for name, value in document.items() if not name.endswith("_ms") or "p50" not in name
            and "p95" not in name and "p99" not in name}


def test_figures_are_the_same_numbers_as_those_of_the_command_line(wall):
    line = without_times(command("metrics", wall, *MEDIAN_WORDS)["figures"])
    assert without_times(qor.metrics(wall, MEDIAN)["figures"]) == line
    assert without_times(qor.evaluate(wall, MEDIAN)) == line
    assert line["rms_mm"] > 0 and line["frames"] == 3


def test_figures_of_a_result_are_the_same(wall, result):
    line = command("metrics", result, "--truth", wall, "--region", "a=rect:1,2,30,40", "--region", "b=rect:9,9,9,9")
    assert qor.metrics(result, truth=wall, region=["a=rect:1,2,30,40", "b=rect:9,9,9,9"]) == line


def test_a_second_evaluation_is_not_touched_by_the_first(wall):
    first = without_times(qor.evaluate(wall, MEDIAN))
    qor.evaluate(wall, {"minAmplitude": 900})
    assert without_times(qor.evaluate(wall, MEDIAN)) == first


def test_values_of_settings_are_numbers_names_switches_and_lists(wall):
    plain = without_times(qor.evaluate(wall))
    assert without_times(qor.evaluate(wall, {"minAmplitude": numpy.float32(20), "disableCalcCartesian": False,
                                             "extrinsicCalibrationCamera.transX": 0.0})) == plain


def test_a_setting_that_does_not_exist_is_refused_with_a_proposal(wall):
    with pytest.raises(qor.UsageError, match="minAmplitude"):
        qor.evaluate(wall, {"minAmplitud": 1})


def test_run_writes_what_the_command_writes(wall, tmp_path):
    document = qor.run(wall, tmp_path / "python", MEDIAN, cloud=["ply", "pcd"], frames="0:2")
    line = command("run", wall, "--out", tmp_path / "line", "--cloud", "ply,pcd", "--frames", "0:2", *MEDIAN_WORDS)
    assert document.keys() == line.keys()
    files = sorted(path.name for path in (tmp_path / "line").iterdir())
    assert sorted(path.name for path in (tmp_path / "python").iterdir()) == files
    for name in files:
        if name.endswith((".png", ".ply", ".pcd")):
            assert (tmp_path / "python" / name).read_bytes() == (tmp_path / "line" / name).read_bytes()
    for one, other in zip(qor.open(tmp_path / "python/result.zelta").frames,
                          qor.open(tmp_path / "line/result.zelta").frames):
        assert numpy.array_equal(one.distance, other.distance)


@pytest.mark.parametrize("processes", [None, 2])
def test_many_recordings_go_into_a_folder_each(wall, room, tmp_path, processes):
    documents = qor.run([wall, room], tmp_path, processes=processes)
    assert len(documents) == 2
    for name in ("wall", "room"):
        assert len(qor.open(tmp_path / name / "result.zelta").frames) in (2, 3)


@pytest.mark.parametrize("processes", [None, 2])
def test_a_failure_in_one_is_told_and_the_others_go_on(wall, tmp_path, processes):
    bad = tmp_path / "bad.zelta"
    bad.write_bytes(b"\xff" * 100)
    with pytest.raises(qor.DataError, match="1 of 2 recordings failed.*bad.zelta") as told:
        qor.run([bad, wall], tmp_path / "out", processes=processes)
    assert len(told.value.documents) == 2
    assert len(qor.open(tmp_path / "out/wall/result.zelta").frames) == 3


def test_recordings_of_one_name_are_refused(wall, tmp_path):
    with pytest.raises(qor.UsageError, match="Several recordings are called wall"):
        qor.run([wall, wall], tmp_path)


def test_a_used_folder_is_refused_unless_forced(wall, tmp_path):
    qor.run(wall, tmp_path)
    with pytest.raises(qor.UsageError, match="force"):
        qor.run(wall, tmp_path)
    qor.run(wall, tmp_path, force=True)


def test_an_unknown_option_is_told_with_the_nearest(tmp_path):
    with pytest.raises(TypeError, match="no option 'exposure'; did you mean 'exposures'"):
        qor.simulate(tmp_path / "a.zelta", exposure=[1])
    with pytest.raises(TypeError, match="no option 'json'"):
        qor.simulate(tmp_path / "a.zelta", json=True)


def test_a_value_that_cannot_be_is_told_in_the_words_of_the_command(tmp_path):
    with pytest.raises(qor.UsageError, match="nowhere"):
        qor.simulate(tmp_path / "a.zelta", scene="nowhere")


def test_streams_belong_to_the_interpreter(wall):
    for name in ("-", "/dev/stdout"):
        with pytest.raises(qor.UsageError, match="stream of this interpreter"):
            qor.run(wall, name)


def test_nothing_is_printed(capfd, wall, tmp_path):
    qor.simulate(tmp_path / "a.zelta")
    qor.metrics(wall)
    qor.run(wall, tmp_path / "out")
    with pytest.raises(qor.DataError):
        qor.metrics(tmp_path / "nothing.zelta")
    printed = capfd.readouterr()
    assert printed.out == "" and printed.err == ""


def test_simulate_makes_the_bytes_of_the_command(tmp_path):
    document = qor.simulate(tmp_path / "a.zelta", scene="ramp", exposures=[300, 900], seed=7, no_wiggling=True)
    command("simulate", "--out", tmp_path / "b.zelta", "--scene", "ramp", "--exposures", "300,900", "--seed", 7,
            "--no-wiggling")
    assert document["command"] == "simulate"
    assert (tmp_path / "a.zelta").read_bytes() == (tmp_path / "b.zelta").read_bytes()


def test_phases_of_numpy_go_through_importing_and_the_pipeline(wall, tmp_path):
    images = qor.open(wall).frames[0].images[1:]
    numpy.save(tmp_path / "phases.npy", images)
    document = qor.importing(tmp_path / "phases.npy", tmp_path / "mine.zelta", frequencies=["60MHz"],
                             exposures=[1000], axes="phase,y,x")
    assert document["command"] == "import"
    with qor.Pipeline() as pipeline:
        frames = list(pipeline.frames(tmp_path / "mine.zelta"))
    assert len(frames) == 1 and frames[0].usable.mean() > 0.5


def test_exported_arrays_are_the_images(result, tmp_path):
    qor.export(result, tmp_path, format=["npy"], images=["distance"], frames="1:2")
    files = [path for path in tmp_path.rglob("*.npy")]
    assert len(files) == 1
    assert numpy.array_equal(numpy.load(files[0]).reshape(172, 224), qor.open(result).frames[1].distance)


def test_figures_up_to_a_damage_come_with_the_error(wall, tmp_path):
    cut = tmp_path / "cut.zelta"
    cut.write_bytes(wall.read_bytes()[:-200_000])
    with pytest.raises(qor.DataError, match="damaged at byte") as told:
        qor.metrics(cut)
    assert told.value.document["figures"]["frames"] == 2


def test_the_module_is_the_command(wall, python_environment):
    done = subprocess.run([sys.executable, "-m", "qor", "info", wall, "--json"], env=python_environment,
                          stdout=subprocess.PIPE, check=True)
    assert json.loads(done.stdout) == command("info", wall)


def test_an_interruption_ends_the_work_and_then_the_interpreter_answers_as_before(tmp_path):
    long = tmp_path / "long.zelta"
    qor.simulate(long, frames=60)
    before = signal.getsignal(signal.SIGINT)
    timer = threading.Timer(0.05, os.kill, (os.getpid(), signal.SIGINT))
    with pytest.raises(KeyboardInterrupt):
        timer.start()
        for _ in range(200):
            qor.metrics(long)
    assert signal.getsignal(signal.SIGINT) is before
    time.sleep(0.05)
    assert qor.evaluate(long, frames="0:1")["frames"] == 1
