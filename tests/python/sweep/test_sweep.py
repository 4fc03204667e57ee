# SPDX-License-Identifier: Apache-2.0
"""Whoever measures the rows, whenever they come and whatever happens meanwhile: the table is the same."""

import csv
import io
import json
import os
import re
import signal
import subprocess
import time

import pytest
from running import (PACKAGE, PATIENCE, RECORDINGS, end_worker, kept_rows, simulate, started, sweep, table_of,
                     wait_for_rows, words, workers_of)

ROWS = RECORDINGS * 6


def lines_of(table: bytes) -> list[dict]:
    return list(csv.DictReader(io.StringIO(table.decode())))


def test_two_workers_give_the_table_of_one(plan, table, tmp_path):
    outcome = sweep(plan, "--jobs", 2, "--out", tmp_path)
    assert outcome.returncode == 0, outcome.stderr
    assert table_of(tmp_path) == table
    assert len(lines_of(table)) == ROWS


def test_rows_stand_in_the_order_of_recordings_and_settings(table):
    places = [(line["recording"], int(line["settings"])) for line in lines_of(table)]
    assert places == sorted(places)
    assert len(set(places)) == ROWS


def test_a_worker_that_is_killed_costs_no_row_and_doubles_none(plan, table, tmp_path):
    with started(*words(plan, "--jobs", 2, "--out", tmp_path)) as process:
        wait_for_rows(tmp_path, 20, process)
        end_worker(process)
        assert len(kept_rows(tmp_path)) < ROWS - 10  # it was in mid-run
        output = process.communicate(timeout=PATIENCE)[0]
    assert process.returncode == 0, output
    assert table_of(tmp_path) == table
    assert len(kept_rows(tmp_path)) == len(set(kept_rows(tmp_path))) == ROWS


def test_all_workers_that_are_killed_cost_no_row(plan, table, tmp_path):
    with started(*words(plan, "--jobs", 2, "--out", tmp_path)) as process:
        wait_for_rows(tmp_path, 20, process)
        for worker in workers_of(process):
            os.kill(worker, signal.SIGKILL)
        output = process.communicate(timeout=PATIENCE)[0]
    assert process.returncode == 0, output
    assert table_of(tmp_path) == table


@pytest.mark.parametrize("ending", [signal.SIGINT, signal.SIGTERM, signal.SIGKILL])
def test_a_sweep_that_is_broken_off_is_completed(plan, table, tmp_path, ending):
    with started(*words(plan, "--jobs", 2, "--out", tmp_path)) as process:
        wait_for_rows(tmp_path, 30, process)
        process.send_signal(ending)
        output = process.communicate(timeout=PATIENCE)[0]
    before = kept_rows(tmp_path)
    assert 30 <= len(before) < ROWS - 10
    if ending != signal.SIGKILL:
        assert process.returncode == 1, output
        assert "interrupted" in output and "--resume" in output
        assert "Traceback" not in output
    assert not (tmp_path / "table.csv").exists()

    outcome = sweep(plan, "--jobs", 2, "--out", tmp_path, "--resume")
    assert outcome.returncode == 0, outcome.stderr
    assert table_of(tmp_path) == table
    assert kept_rows(tmp_path)[: len(before)] == before
    assert len(kept_rows(tmp_path)) == len(set(kept_rows(tmp_path))) == ROWS


def test_a_line_that_was_torn_is_measured_again(plan, table, tmp_path):
    assert sweep(plan, "--jobs", 2, "--out", tmp_path).returncode == 0
    rows = tmp_path / "rows.jsonl"
    rows.write_bytes(rows.read_bytes()[:-40])
    outcome = sweep(plan, "--jobs", 2, "--out", tmp_path, "--resume")
    assert outcome.returncode == 0, outcome.stderr
    assert table_of(tmp_path) == table
    assert len(rows.read_bytes().splitlines()) == ROWS + 1


def test_scheduler_and_workers_started_apart_give_the_same_table(plan, table, tmp_path):
    address = tmp_path / "scheduler.json"
    scheduler = ["/usr/bin/python3", "-m", "distributed.cli.dask_scheduler", "--host", "127.0.0.1", "--port", 0,
                 "--dashboard-address", "127.0.0.1:0", "--scheduler-file", address]
    worker = ["env", f"PYTHONPATH={PACKAGE}", "/usr/bin/python3", "-m", "distributed.cli.dask_worker",
              "--scheduler-file", address, "--nthreads", 1, "--no-dashboard", "--local-directory", tmp_path]
    with started(*scheduler), started(*worker), started(*worker) as late:
        late.send_signal(signal.SIGSTOP)  # one machine joins late
        end = time.monotonic() + PATIENCE
        while not address.exists():
            assert time.monotonic() < end
            time.sleep(0.1)
        tcp = json.loads(address.read_text())["address"]
        with started(*words(plan, "--scheduler", tcp, "--out", tmp_path / "sweep")) as process:
            wait_for_rows(tmp_path / "sweep", 10, process)
            late.send_signal(signal.SIGCONT)
            output = process.communicate(timeout=PATIENCE)[0]
    assert process.returncode == 0, output
    assert table_of(tmp_path / "sweep") == table


def test_no_scheduler_is_said_in_words(plan, tmp_path):
    outcome = sweep(plan, "--scheduler", "tcp://127.0.0.1:1", "--out", tmp_path)
    assert outcome.returncode == 2
    assert "no scheduler answers at tcp://127.0.0.1:1" in outcome.stderr
    assert "Traceback" not in outcome.stderr


def test_a_figure_is_that_of_the_command(plan, table):
    for line in lines_of(table)[:: ROWS // 8]:
        settings = [f"--set={name}={value}" for name, value in line.items() if "customization" in name]
        document = json.loads(subprocess.run(
            [os.environ["QOR_COMMAND"], "metrics", str(plan.parent / line["recording"]), "--json", "--quiet",
             "--region=middle=rect:80,60,64,52", *settings], capture_output=True, check=True).stdout)
        figures = document["figures"]
        figures |= {f"middle.{name}": value for name, value in document["regions"]["middle"]["figures"].items()}
        for name, value in figures.items():
            if "packet_p" in name or "frame_p" in name:
                assert name not in line
            else:
                assert line[name] == ("" if value is None else repr(value)), name


def test_a_damaged_recording_is_a_failed_row_with_its_reason(tmp_path):
    simulate(tmp_path / "whole.zelta", "--scene", "wall")
    content = (tmp_path / "whole.zelta").read_bytes()
    (tmp_path / "cut.zelta").write_bytes(content[: len(content) // 3])
    (tmp_path / "end.zelta").write_bytes(content[:-100])
    (tmp_path / "text.zelta").write_text("no recording\n" * 100)
    (tmp_path / "plan.toml").write_text(
        "recordings = \"*.zelta\"\n[grid]\n\"QorDistanceImageIFInput.customization.minAmplitude\" = [20, 50]\n")
    outcome = sweep(tmp_path / "plan.toml", "--jobs", 2, "--out", tmp_path / "sweep")
    assert outcome.returncode == 1
    lines = lines_of(table_of(tmp_path / "sweep"))
    assert [(line["recording"], line["status"]) for line in lines[::2]] == [
        ("cut.zelta", "failed"), ("end.zelta", "failed"), ("text.zelta", "failed"), ("whole.zelta", "good")]
    for line in lines[:6]:
        assert f"{line['recording']} is damaged at byte" in line["reason"]
        assert str(tmp_path) not in line["reason"]
        assert line["rms_mm"] == ""
    assert "cut.zelta is damaged at byte" in outcome.stderr


def test_a_recording_that_crashes_the_command_is_a_failed_row(tmp_path):
    simulate(tmp_path / "good.zelta", "--scene", "wall")
    (tmp_path / "crash.zelta").write_bytes((tmp_path / "good.zelta").read_bytes())
    crashing = tmp_path / "qor"  # is the command, except for one recording
    crashing.write_text("#!/bin/sh\ncase \"$*\" in *crash.zelta*) kill -SEGV $$ ;; esac\n"
                        f"exec '{os.environ['QOR_COMMAND']}' \"$@\"\n")
    crashing.chmod(0o755)
    (tmp_path / "good.zelta").write_bytes((tmp_path / "good.zelta").read_bytes() + b"")
    (tmp_path / "plan.toml").write_text("recordings = [\"crash.zelta\"]\n")
    environment = os.environ | {"QOR_COMMAND": str(crashing)}
    outcome = subprocess.run(words(tmp_path / "plan.toml", "--jobs", 1, "--out", tmp_path / "sweep"), env=environment,
                             capture_output=True, text=True, check=False)
    assert outcome.returncode == 1, outcome.stderr
    line = lines_of(table_of(tmp_path / "sweep"))[0]
    assert line["status"] == "failed"
    assert line["reason"] == "qor metrics was ended by signal 11 (Segmentation fault)."


def test_failed_rows_are_tried_again_by_resume(tmp_path):
    simulate(tmp_path / "r.zelta", "--scene", "wall")
    (tmp_path / "plan.toml").write_text("recordings = [\"r.zelta\"]\n")
    assert sweep(tmp_path / "plan.toml", "--jobs", 1, "--out", tmp_path / "sweep").returncode == 0
    rows = tmp_path / "sweep/rows.jsonl"
    row = json.loads(rows.read_text())
    good = table_of(tmp_path / "sweep")
    rows.write_text(json.dumps(row | {"status": "failed", "reason": "no memory", "figures": {}}) + "\n")
    outcome = sweep(tmp_path / "plan.toml", "--jobs", 1, "--out", tmp_path / "sweep", "--resume")
    assert outcome.returncode == 0, outcome.stderr
    assert table_of(tmp_path / "sweep") == good


def test_a_folder_with_a_sweep_is_not_overwritten(tmp_path):
    simulate(tmp_path / "r.zelta", "--scene", "wall")
    (tmp_path / "plan.toml").write_text("recordings = \"r.zelta\"\n")
    assert sweep(tmp_path / "plan.toml", "--jobs", 1, "--out", tmp_path / "sweep").returncode == 0
    outcome = sweep(tmp_path / "plan.toml", "--jobs", 1, "--out", tmp_path / "sweep")
    assert outcome.returncode == 2
    assert "--resume" in outcome.stderr and "--force" in outcome.stderr


def test_copies_of_a_recording_are_measured_once_and_have_a_row_each(tmp_path):
    simulate(tmp_path / "a.zelta", "--scene", "wall")
    (tmp_path / "b.zelta").write_bytes((tmp_path / "a.zelta").read_bytes())
    (tmp_path / "plan.toml").write_text("recordings = \"*.zelta\"\n")
    assert sweep(tmp_path / "plan.toml", "--jobs", 2, "--out", tmp_path / "sweep").returncode == 0
    first, second = lines_of(table_of(tmp_path / "sweep"))
    assert (first.pop("recording"), second.pop("recording")) == ("a.zelta", "b.zelta")
    assert first == second
    assert len(kept_rows(tmp_path / "sweep")) == 1


def test_the_best_settings_run(plan, tmp_path):
    simulate(tmp_path / "r.zelta", "--scene", "wall", "--frames", "2")
    (tmp_path / "plan.toml").write_text("recordings = \"r.zelta\"\n" + plan.read_text().split("\n", 2)[2])
    outcome = sweep(tmp_path / "plan.toml", "--jobs", 2, "--out", tmp_path / "sweep", "--quiet", "--best",
                    "rms_mm where valid_share > 0.5")
    assert outcome.returncode == 0, outcome.stderr
    (tmp_path / "best.txt").write_text(outcome.stdout)
    again = sweep("--out", tmp_path / "sweep", "--best", "rms_mm where valid_share > 0.5")
    assert again.stdout == outcome.stdout
    document = json.loads(subprocess.run(
        [os.environ["QOR_COMMAND"], "metrics", str(tmp_path / "r.zelta"), "--json", "--quiet", "--settings",
         str(tmp_path / "best.txt")], capture_output=True, check=True).stdout)
    allowed = [float(line["rms_mm"]) for line in lines_of(table_of(tmp_path / "sweep"))
               if float(line["valid_share"]) > 0.5]
    assert document["figures"]["rms_mm"] == min(allowed)
    assert len(allowed) < 6  # the condition leaves some out


def test_a_report_needs_no_other_file(tmp_path):
    simulate(tmp_path / "r.zelta", "--scene", "room")
    (tmp_path / "bad.zelta").write_text("no recording\n" * 100)
    (tmp_path / "plan.toml").write_text(
        "recordings = \"*.zelta\"\n[grid]\n\"QorDistanceImageIFInput.customization.minAmplitude\" = [20, 500]\n")
    outcome = sweep(tmp_path / "plan.toml", "--jobs", 2, "--out", tmp_path / "sweep", "--report")
    assert outcome.returncode == 1, outcome.stderr
    page = (tmp_path / "sweep/report.html").read_text()
    for part in ("rms_mm over QorDistanceImageIFInput.customization.minAmplitude", "<h3>Best: ", "<h3>Worst: ",
                 "bad.zelta is damaged at byte"):
        assert part in page
    assert page.count("src=\"data:image/png;base64,") == 6
    assert "http" not in page and "src=\"" not in page.replace("src=\"data:", "")


def test_the_command_and_python_know_the_same_options():
    from qor.sweep.command import parser

    text = subprocess.run([os.environ["QOR_COMMAND"], "sweep", "--help"], capture_output=True, text=True,
                          check=True).stdout
    listed = set(re.findall(r"^  (?:-\w,)?(--[a-z]+)", text, re.MULTILINE))
    known = {name for action in parser()._actions for name in action.option_strings if name.startswith("--")}
    assert listed == known | {"--help"}
