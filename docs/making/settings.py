# SPDX-License-Identifier: Apache-2.0
"""docs/settings.md: the column of defaults, whether the page has every setting, and the pairs of pictures."""
import json
import re

import numpy

from figure import Chart, Line, Picture, Scale, figure
from pipeline import METRES, errors
from program import CUSTOMIZATION

PARAMETERS = "QorDistanceImageIFInput.param."
HEAD = "| Setting | Values | Default | Meaning |"
FILTERS = f"{CUSTOMIZATION}filterSet."
HALL = ("--scene", "hall", "--frequencies", "60MHz,80MHz")
HALL_METRES = Scale("turbo", 0, 7.5, "m")
ERROR = Scale("error", -40, 40, "mm")
PART = (slice(40, 126), slice(40, 152))  # of an image: a ball, a shelf, walls


# ----------------------------------------------------------------------------------------------------------------------
# The tables

def page(program, text):
    """The page with the defaults of the simulated camera in its tables. Stops where it does not have just the settings."""
    recording = program.recording()
    defaults = {}
    for group in (CUSTOMIZATION, PARAMETERS):
        values, names = program.values(recording, "3208", group[:-1])
        for expression, value in values.items():
            member = re.sub(r"\[[^\]]*\]", "[]", expression.removeprefix(group))
            defaults.setdefault(member, names.get(expression, value))
    lines, found = [], set()
    inside = False
    for line in text.split("\n"):
        inside = line == HEAD or (inside and line.startswith("|"))
        if inside and line.startswith("| `"):
            line = _row(line, defaults, found)
        lines.append(line)
    missing = sorted(set(defaults) - found)
    if missing:
        raise SystemExit(f"docs/settings.md lacks: {', '.join(missing)}")
    return "\n".join(lines)


def _row(line, defaults, found):
    setting, values, _, meaning = (cell.strip() for cell in line.strip("|").split("|"))
    member = setting.strip("`")
    if member not in defaults:
        raise SystemExit(f"docs/settings.md: the program has no setting {member}")
    found.add(member)
    return f"| {setting} | {values} | {_default(defaults[member], values)} | {meaning} |"


def _default(value, values):
    if isinstance(value, list):
        value = value[0]
    if values.startswith("switch"):
        return "`true`" if value else "`false`"
    if isinstance(value, str):
        return f"`{value.split()[0]}`"
    return f"{value:.7g}"


# ----------------------------------------------------------------------------------------------------------------------
# The pairs

def distances(program, recording, pair, scale=METRES, part=(slice(None), slice(None))):
    """A picture of the last distance for each (title, settings)."""
    return figure([Picture(title, program.images(program.result(recording, *settings), "distance")[-1][part], scale)
                   for title, settings in pair], columns=3 if len(pair) == 3 else 2)


def errors_of(program, recording, pair, part=PART):
    return figure([Picture(f"error, {title}", errors(program, recording, *settings, frame=-1)[part], ERROR)
                   for title, settings in pair], columns=3 if len(pair) == 3 else 2)


def change(name, *values):
    """Titles and settings of a member with these values."""
    short = name.split(".")[-1]
    return [(f"{short} = {value}", [f"{name}={value}"]) for value in values]


def room(program, *options):
    return program.recording("--scene", "room", "--exposures", "400", *options)


def min_amplitude(program):
    return distances(program, room(program), change(f"{CUSTOMIZATION}minAmplitude", 20, 200))


def symmetry(program):
    return distances(program, room(program), change(f"{CUSTOMIZATION}maximumRawSymmetry", 0.5, 0.05))


def spatial(program):
    return errors_of(program, room(program, "--frames", "8"),
                     [(kind, [f"{FILTERS}spatialFilter={kind}"]) for kind in ("none", "median", "mean", "bilateral")])


def mask_size(program):
    return errors_of(program, room(program, "--frames", "8"),
                     [(f"median, maskSize = {size}", [f"{FILTERS}spatialFilter=median",
                                                      f"{FILTERS}spatMedianSettings.maskSize={size}"])
                      for size in ("3x3", "5x5")])


def sigma_distance(program):
    return errors_of(program, room(program, "--frames", "8"),
                     [(f"bilateral, sigmaDistance = {sigma}", [f"{FILTERS}spatialFilter=bilateral",
                                                               f"{FILTERS}spatBilateralSettings.sigmaDistance={sigma}"])
                      for sigma in (0.01, 0.2)])


def sigma_pixel(program):
    return errors_of(program, room(program, "--frames", "8"),
                     [(f"bilateral 5x5, sigmaPixel = {sigma}", [f"{FILTERS}spatialFilter=bilateral",
                                                                f"{FILTERS}spatBilateralSettings.maskSize=5x5",
                                                                f"{FILTERS}spatBilateralSettings.sigmaPixel={sigma}"])
                      for sigma in (0.5, 3)])


def temporal(program):
    return errors_of(program, room(program, "--frames", "8"),
                     [(f"frame 8, {kind}", [f"{FILTERS}temporalFilter={kind}"])
                      for kind in ("none", "mean", "adaptiveExponential")])


def amplitude_filter(program):
    scale = Scale("viridis", 0, 2, "counts/us")
    median = [f"{FILTERS}spatialFilter=median", f"{FILTERS}spatMedianSettings.maskSize=5x5"]
    recording = program.recording("--scene", "room", "--exposures", "50", "--min-amplitude", "0")
    cells = []
    for value in ("false", "true"):
        result = program.result(recording, *median, f"{FILTERS}applyAmplitudeFilter={value}")
        cells.append(Picture(f"amplitude, applyAmplitudeFilter = {value}", program.images(result, "amplitude")[0][PART], scale))
    return figure(cells)


def noise_threshold(program):
    recording = program.recording("--scene", "room", "--intensity-image")
    return distances(program, recording, change(f"{CUSTOMIZATION}distNoiseThreshold", 0, 0.01))


def straylight_threshold(program):
    psf = program.qor.resolve().parents[2] / "lib/straylight_psf.f32"
    recording = program.recording("--scene", "glare", "--exposures", "60,3000", "--straylight", psf)
    on = f"{CUSTOMIZATION}enableStraylightCorrection=1"
    cells = (change(f"{CUSTOMIZATION}absDistStraylightThreshold", 0, 0.1) +
             change(f"{CUSTOMIZATION}relAmpStraylightThreshold", 0.1))
    return distances(program, recording, [(title, [on, *settings]) for title, settings in cells])


def line_distance(program):
    recording = program.recording(*HALL, "--exposures", "500")
    return distances(program, recording, change(f"{CUSTOMIZATION}twoFreqMaxLineDistPercentage", 80, 20), HALL_METRES)


def assignment_filter(program):
    recording = program.recording(*HALL, "--exposures", "300", "--min-amplitude", "0")
    noisy = [f"{CUSTOMIZATION}maximumRawSymmetry=10", f"{CUSTOMIZATION}twoFreqMaxLineDistPercentage=100"]
    pair = change(f"{CUSTOMIZATION}filter2FreqAssignment", "false", "true")
    return distances(program, recording, [(title, noisy + settings) for title, settings in pair], HALL_METRES)


def unique_range(program):
    recording = program.recording(*HALL, "--exposures", "1000,4000")
    return distances(program, recording, change(f"{PARAMETERS}maxUniqueRange", -1, 5), HALL_METRES)


def vertical(program):
    recording = program.recording(*HALL, "--exposures", "1000")
    return errors_of(program, recording, change(f"{PARAMETERS}verticalAssignment", 0, 1))


def pose(program):
    pair = change(f"{CUSTOMIZATION}extrinsicCalibrationCamera.rotX", 0, 0.5)
    cells = []
    for title, settings in pair:
        y = program.images(program.result(room(program), *settings), "y")[0].astype(float)
        cells.append(Picture(f"Y, {title}", numpy.asarray(y), Scale("turbo", -1.5, 1.5, "m")))
    return figure(cells)


def proposals(program, *options):
    """The exposure times that a camera takes which follows the proposals, in a scene that turns bright and dark."""
    printed = json.loads(program.call("simulate", "--auto-exposure", "--exposures", "1000", "--frames", "24", *options,
                                      "--brightness-steps", "0:6,8:0.02,16:6", "--json", "--out",
                                      program.work / "exposure.zelta"))
    frames = printed["autoExposure"]["frames"]
    return [frame["frame"] for frame in frames], [frame["exposuresMicroseconds"][0] for frame in frames]


def exposure_limits(program):
    def chart(title, options):
        lines = [Line(name, *proposals(program, option, value), steps=True) for name, option, value in options]
        return Chart(title, "frame", "microseconds", lines, (0, 23), (0, 2600), [0, 4, 8, 12, 16, 20],
                     [0, 500, 1000, 1500, 2000])
    return figure([
        chart("maxNumberOfSaturatedPixels", [("100", "--max-saturated", "100"), ("8000", "--max-saturated", "8000")]),
        chart("maxExposureTime", [("2000", "--max-exposure", "2000"), ("1000", "--max-exposure", "1000")])])


def region(program):
    recording = program.recording("--scene", "room", "--auto-exposure", "--exposures", "1000", "--frames", "3")
    rectangle = f"{CUSTOMIZATION}autoExpSet.roiSettings.rois.ROIs[0].rectangle."
    cells = []
    for title, (x, y, width, height) in (("whole picture", (112, 86, 224, 172)), ("ball", (128, 145, 36, 36)),
                                         ("wall", (112, 40, 60, 40))):
        result = program.result(recording, *(f"{rectangle}{name}={value}" for name, value in (
            ("center.x", x), ("center.y", y), ("width", width), ("height", height))))
        values, _ = program.values(result, "3210", "QorDistanceImageIFOutput.longAutoExpTime", packet=-1)
        amplitude = program.images(result, "amplitude")[-1].astype(float)
        rows, columns = numpy.mgrid[0:172, 0:224]
        outside = (abs(columns + 0.5 - x) > width / 2) | (abs(rows + 0.5 - y) > height / 2)
        amplitude[outside] = numpy.nan
        cells.append(Picture(f"region: {title}; proposal {list(values.values())[0]} us", amplitude,
                             Scale("viridis", 0, 6, "counts/us")))
    return figure(cells)


FIGURES = {
    "settings-min-amplitude": min_amplitude,
    "settings-symmetry": symmetry,
    "settings-spatial": spatial,
    "settings-mask-size": mask_size,
    "settings-sigma-distance": sigma_distance,
    "settings-sigma-pixel": sigma_pixel,
    "settings-exposure-limits": exposure_limits,
    "settings-region": region,
    "settings-temporal": temporal,
    "settings-amplitude-filter": amplitude_filter,
    "settings-noise-threshold": noise_threshold,
    "settings-straylight-threshold": straylight_threshold,
    "settings-line-distance": line_distance,
    "settings-assignment-filter": assignment_filter,
    "settings-unique-range": unique_range,
    "settings-vertical": vertical,
    "settings-pose": pose,
}
