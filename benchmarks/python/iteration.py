# SPDX-License-Identifier: Apache-2.0
"""What Python costs: frames of a recording through qor.Pipeline, their distances looked at, against the same packets
through the plug-in by a program in C++ that does nothing else. Processor time, which other programs disturb least;
both in turn, the fastest run of each.

    PYTHONPATH=build/release/python python3 benchmarks/python/iteration.py
"""

import argparse
import pathlib
import subprocess
import tempfile
import time

import qor

ALONE = pathlib.Path(__file__).resolve().parents[2] / "build/release/python/library_alone"

KINDS = {
    "one frequency, one exposure": {},
    "two frequencies, two exposures": {"frequencies": ["60MHz", "80MHz"], "exposures": [400, 1600]},
}


def seconds_in_python(recording):
    with qor.Pipeline() as pipeline:
        start = time.process_time()
        for frame in pipeline.frames(recording):
            frame.distance, frame.amplitude, frame.confidence
        return time.process_time() - start


def seconds_alone(plugin, recording):
    done = subprocess.run([ALONE, plugin, recording, "1"], check=True, stdout=subprocess.PIPE, text=True)
    return float(done.stdout)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--frames", type=int, default=100)
    parser.add_argument("--runs", type=int, default=10)
    parser.add_argument("--at-most", type=float, help="exit code 1 if Python takes more than this times the library")
    options = parser.parse_args()
    with qor.Pipeline() as pipeline:
        plugin = pipeline._pipeline.path
    slowest = 0.0
    with tempfile.TemporaryDirectory() as folder:
        for name, more in KINDS.items():
            recording = pathlib.Path(folder) / "recording.zelta"
            qor.simulate(recording, scene="room", frames=options.frames, **more)
            pairs = [(seconds_alone(plugin, recording), seconds_in_python(recording)) for _ in range(options.runs)]
            alone, python = (1000 * min(times) / options.frames for times in zip(*pairs))
            slowest = max(slowest, python / alone)
            print(f"{name}: library alone {alone:.3f} ms a frame, Python {python:.3f} ms, ratio {python / alone:.3f}")
    if options.at_most and slowest > options.at_most:
        raise SystemExit(1)


if __name__ == "__main__":
    main()
