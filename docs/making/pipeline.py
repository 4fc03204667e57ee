# SPDX-License-Identifier: Apache-2.0
"""The figures of docs/pipeline.md: one for each step, from recordings of the simulated camera."""
import json
import math

import numpy

from figure import Categories, Chart, Line, Picture, Scale, figure
from program import CUSTOMIZATION

ROOM = ("--scene", "room", "--exposures", "400,1600")
FREQUENCY = "QorDistanceImageIFCalib.imagerCalib.freqDependent[0]."
UNIQUE_RANGE = 299792458 / 1.000293 / (2 * 60e6)  # metres, at 60 MHz
PIXEL = (100, 112)  # row and column of the pixel whose samples are shown
RADIANS = Scale("turbo", 0, 6.2832, "rad")
METRES = Scale("turbo", 0, 2.5, "m")
MILLIMETRES = Scale("error", -20, 20, "mm")
STATES = Categories([("valid", (46, 125, 170)), ("valid, first exposure", (120, 190, 220)),
                     ("saturated", (250, 200, 40)), ("low amplitude", (70, 74, 84)),
                     ("asymmetric", (190, 60, 150)), ("no assignment", (225, 90, 50)),
                     ("invalid otherwise", (0, 0, 0))])


def states(confidence):
    """The state of each pixel, as an index into STATES; the first reason counts."""
    bits = confidence.astype(int)
    state = numpy.full(bits.shape, 6)
    for mask, index in ((0x04, 4), (0x08, 3), (0x20, 5), (0x02, 2)):
        state[(bits & mask) != 0] = index
    valid = (bits & 0x01) == 0
    state[valid] = numpy.where(bits[valid] & 0x10, 0, 1)
    return state


def errors(program, recording, *settings, frame=0):
    """Distance less truth in millimetres, modulo the unique range of 60 MHz; NaN where there is none."""
    distance = program.images(program.result(recording, *settings), "distance")[frame].astype(float)
    error = distance - truth(program, recording)
    return 1000 * (error - UNIQUE_RANGE * numpy.rint(error / UNIQUE_RANGE))


def truth(program, recording):
    return program.member(recording, "SceneTruth.distance")[0].astype(float)


def raw_phases(program):
    raw = program.images(program.recording(*ROOM), "raw")[0][4:8]
    grey = Scale("grey", 0, 4095, "counts")
    cells = [Picture(f"{letter}: {90 * k} degrees", raw[k], grey) for k, letter in enumerate("abcd")]
    a, b, c, d = (float(image[PIXEL]) for image in raw)
    middle = (a + b + c + d) / 4
    phase, amplitude = math.atan2(b - d, a - c), math.hypot(a - c, b - d) / 2
    angles = list(range(0, 361, 5))
    sine = [middle + amplitude * math.cos(math.radians(angle) - phase) for angle in angles]
    cells.append(Chart(f"Pixel {PIXEL[1]}, {PIXEL[0]}", "shift of the reference, degrees", "counts",
                       [Line("the sine through them", angles, sine),
                        Line("samples", [0, 90, 180, 270], [a, b, c, d], dots=True)],
                       (0, 360), (1000, 3000), [0, 90, 180, 270, 360], [1000, 1500, 2000, 2500, 3000]))
    return figure(cells)


def phasor(program):
    state = program.result(program.recording(*ROOM), channels="state")
    counts = Scale("error", -1500, 1500, "counts")
    cells = [Picture(f"{name} = {what}", program.member(state, f"QorDistanceImageState.rawToDistState.{name}")[-1][1],
                     counts) for name, what in (("X", "a - c"), ("Y", "b - d"))]
    symmetry = program.member(state, "QorDistanceImageState.rawToDistState.S")[-1][1]
    return figure(cells + [Picture("S = (a + c) - (b + d)", symmetry, Scale("error", -60, 60, "counts"))])


def exposures(program):
    recording = program.recording("--scene", "room", "--exposures", "400,6000")
    raw = program.images(recording, "raw")[0]
    confidence = program.images(program.result(recording), "confidence")[0]
    grey = Scale("grey", 0, 4095, "counts")
    return figure([Picture("a, 400 microseconds", raw[0], grey), Picture("a, 6000 microseconds", raw[4], grey),
                   Picture("which one counts", states(confidence), STATES)])


def phase_and_amplitude(program):
    recording = program.recording(*ROOM)
    result = program.result(recording)
    distance = program.images(result, "distance")[0].astype(float)
    amplitude = program.images(result, "amplitude")[0].astype(float)
    return figure([Picture("phase", distance / UNIQUE_RANGE * 2 * math.pi, RADIANS),
                   Picture("amplitude per microsecond", amplitude, Scale("viridis", 0, 3, "counts/us")),
                   Picture("amplitude, logarithm", numpy.log10(amplitude),
                           Scale("viridis", -1.5, 1, "log10"))])


def wiggling(program):
    recording = program.recording("--scene", "ramp", "--exposures", "1000,4000", "--no-noise")
    none = [f"{FREQUENCY}phaseWigg[{k}]=0" for k in (1, 3, 5)]
    distance = truth(program, recording)
    lines = []
    for name, settings in (("without correction", none), ("with correction", [])):
        error = errors(program, recording, *settings)
        middles = [0.02 * k + 0.01 for k in range(25, 85)]
        x, y = [], []
        for middle in middles:
            within = (numpy.abs(distance - middle) <= 0.01) & numpy.isfinite(error)
            if within.sum() > 20:
                x.append(middle)
                y.append(float(numpy.median(error[within])))
        lines.append(Line(name, x, y))
    chart = Chart("Error along a ramp", "true distance, m", "median error, mm", lines, (0.5, 1.7), (-20, 20),
                  [0.5, 0.7, 0.9, 1.1, 1.3, 1.5, 1.7], [-20, -10, 0, 10, 20])
    return figure([chart, Picture("error, without", errors(program, recording, *none), MILLIMETRES),
                   Picture("error, with", errors(program, recording), MILLIMETRES)])


def drift(program):
    wall = ("--scene", "wall", "--exposures", "2000")
    temperatures = [20, 25, 30, 35, 40, 45, 50, 55, 60]
    none = [f"{FREQUENCY}temperatureFactor=0"]
    lines = []
    for name, settings in (("without correction", none), ("with correction", [])):
        y = [float(numpy.nanmedian(errors(program, program.recording(*wall, "--temperature", str(t)), *settings)))
             for t in temperatures]
        lines.append(Line(name, temperatures, y))
    chart = Chart("A wall at 1.2 m", "temperature, degrees Celsius", "median error, mm", lines, (20, 60), (-20, 20),
                  [20, 30, 40, 50, 60], [-20, -10, 0, 10, 20])
    recording = program.recording(*wall)
    return figure([chart,
                   Picture("error, without fixed pattern", errors(program, recording, f"{FREQUENCY}FPPN=0"), MILLIMETRES),
                   Picture("error, with it", errors(program, recording), MILLIMETRES)])


def stray_light(program):
    psf = program.qor.resolve().parents[2] / "lib/straylight_psf.f32"
    recording = program.recording("--scene", "glare", "--exposures", "60,3000", "--straylight", psf)
    on = f"{CUSTOMIZATION}enableStraylightCorrection=1"
    scale = Scale("error", -200, 200, "mm")
    distance = program.images(program.result(recording), "distance")[0]
    return figure([Picture("distance as it is", distance, METRES),
                   Picture("error as it is", errors(program, recording), scale),
                   Picture("error, corrected", errors(program, recording, on), scale)])


def suspect_pixels(program):
    recording = program.recording(*ROOM)
    values, _ = program.values(recording, "3212", "QorDistanceImageIFCalib.imagerCalib.freqIndependent.badPixelIdx")
    first = list(values.values())[0]
    row, column = divmod(int(first[0] if isinstance(first, list) else first), 224)
    top, left = min(max(row - 9, 0), 172 - 18), min(max(column - 12, 0), 224 - 24)
    cells = []
    for title, settings in (("as measured", ["QorDistanceImageIFCalib.imagerCalib.freqIndependent.numBadPixel=0"]),
                            ("repaired", [])):
        distance = program.images(program.result(recording, *settings), "distance")[0]
        part = distance[top:top + 18, left:left + 24].astype(float)
        middle = float(numpy.nanmedian(part))
        cells.append(Picture(title, part, Scale("turbo", round(middle - 0.1, 2), round(middle + 0.1, 2), "m")))
    return figure(cells)


def multi_frequency(program):
    hall = Scale("turbo", 0, 7.5, "m")
    cells = []
    for title, frequencies in (("60 MHz alone", "60MHz"), ("80 MHz alone", "80MHz"), ("both", "60MHz,80MHz")):
        recording = program.recording("--scene", "hall", "--exposures", "1000,4000", "--frequencies", frequencies)
        cells.append(Picture(title, program.images(program.result(recording), "distance")[0], hall))
    return figure(cells)


def noise(program):
    recording = program.recording("--scene", "room", "--intensity-image", "--ambient", "5", "--frames", "25")
    result = program.result(recording)
    distances = numpy.array(program.images(result, "distance"), dtype=float)
    scale = Scale("viridis", 0, 15, "mm")
    return figure([Picture("intensity image", program.images(result, "intensity")[0], Scale("grey", 0, 30, "counts")),
                   Picture("noise as predicted", 1000 * program.images(result, "noise")[0], scale),
                   Picture("deviation over 25 frames", 1000 * distances.std(axis=0, ddof=1), scale)])


def exposure_control(program):
    printed = json.loads(program.call("simulate", "--auto-exposure", "--exposures", "1000", "--frames", "24",
                                      "--brightness-steps", "0:6,8:0.02,16:6", "--json",
                                      "--out", program.work / "exposure.zelta"))
    frames = printed["autoExposure"]["frames"]
    numbers = [frame["frame"] for frame in frames]
    ticks = [0, 4, 8, 12, 16, 20]
    return figure([
        Chart("Exposure time", "frame", "microseconds",
              [Line("", numbers, [frame["exposuresMicroseconds"][0] for frame in frames], steps=True)],
              (0, 23), (0, 2200), ticks, [0, 500, 1000, 1500, 2000]),
        Chart("Saturated pixels", "frame", "thousand pixels",
              [Line("", numbers, [frame["saturatedPixels"] / 1000 for frame in frames], steps=True)],
              (0, 23), (0, 20), ticks, [0, 5, 10, 15, 20]),
        Chart("Median amplitude", "frame", "counts",
              [Line("", numbers, [frame["medianAmplitude"] for frame in frames], steps=True)],
              (0, 23), (0, 6000), ticks, [0, 2000, 4000, 6000])])


def filters(program):
    recording = program.recording("--scene", "room", "--exposures", "400", "--frames", "8")
    chosen = f"{CUSTOMIZATION}filterSet."
    cells = []
    for title, settings in (("none", []), ("median 5x5", [f"{chosen}spatialFilter=median",
                                                          f"{chosen}spatMedianSettings.maskSize=5x5"]),
                            ("bilateral 5x5", [f"{chosen}spatialFilter=bilateral",
                                               f"{chosen}spatBilateralSettings.maskSize=5x5"]),
                            ("mean of 8 frames", [f"{chosen}temporalFilter=mean",
                                                  f"{chosen}tempMeanSettings.numberOfFrames=8"])):
        error = errors(program, recording, *settings, frame=-1)
        cells.append(Picture(f"error, filter: {title}", error[40:126, 40:152], Scale("error", -40, 40, "mm")))
    return figure(cells, columns=2)


def points(program):
    result = program.result(program.recording(*ROOM))
    x, y, z = (program.images(result, name)[0].astype(float) for name in "xyz")
    known = numpy.isfinite(z) & (y > -0.5)
    plan = numpy.zeros((172, 224))
    columns = numpy.floor((x[known] + 1.5) / 3.0 * 224).astype(int)
    rows = 171 - numpy.floor(z[known] / 2.5 * 172).astype(int)
    inside = (columns >= 0) & (columns < 224) & (rows >= 0) & (rows < 172)
    numpy.add.at(plan, (rows[inside], columns[inside]), 1)
    return figure([Picture("Z", z, METRES), Picture("X", x, Scale("turbo", -1.5, 1.5, "m")),
                   Picture("from above: 3 m wide, 2.5 m deep", plan, Scale("grey", 8, 0, "points"))])


def confidence(program):
    cells = []
    for title, options in (("room, 6 milliseconds", ("--scene", "room", "--exposures", "6000")),
                           ("ramp, 100 microseconds", ("--scene", "ramp", "--exposures", "100")),
                           ("hall, 1 millisecond, 60 and 80 MHz", ("--scene", "hall", "--exposures", "1000",
                                                                   "--frequencies", "60MHz,80MHz"))):
        result = program.result(program.recording(*options))
        cells.append(Picture(title, states(program.images(result, "confidence")[0]), STATES))
    return figure(cells, columns=2)


FIGURES = {
    "pipeline-raw": raw_phases,
    "pipeline-phasor": phasor,
    "pipeline-exposures": exposures,
    "pipeline-phase": phase_and_amplitude,
    "pipeline-wiggling": wiggling,
    "pipeline-drift": drift,
    "pipeline-straylight": stray_light,
    "pipeline-suspect": suspect_pixels,
    "pipeline-frequencies": multi_frequency,
    "pipeline-noise": noise,
    "pipeline-exposure-control": exposure_control,
    "pipeline-filters": filters,
    "pipeline-points": points,
    "pipeline-confidence": confidence,
}
