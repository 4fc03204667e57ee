#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Recomputes the figures of qor metrics with NumPy, from the bytes of recordings and results, by the formulas of
docs/figures.md alone. Three recordings are simulated and run; each figure must agree to a millionth.

    recompute_figures.py QOR FOLDER
"""
import json
import pathlib
import struct
import subprocess
import sys
import zlib

import numpy as np

WIDTH, HEIGHT = 224, 172
PIXELS = WIDTH * HEIGHT
LIGHT = 299792458.0
TOLERANCE = 1e-6

RECORDINGS = [
    ("room", ["--scene", "room", "--frames", "4", "--exposures", "250,2000", "--intensity-image", "--seed", "7"], []),
    ("hall", ["--scene", "hall", "--frames", "3", "--frequencies", "60MHz,80MHz", "--seed", "3"], []),
    ("wall", ["--scene", "wall", "--frames", "3", "--intensity-image", "--ambient", "20"], ["--distance", "1.25"]),
]
REGIONS = {
    "middle": "rect:80,60,64,50",
    "corner": "polygon:10,10,90.5,20,60,120,12,70",
    "disc": "mask:disc.png",
}


# --- The wire formats, as docs/packets-and-definitions.md has them


def type_at(payload, at):
    """One type record: (name, dimensions, offset, size, kind, members) and the place after it."""
    name, dimensions, offset, size = "", [], 0, 0
    while True:
        tag = payload[at]
        number = struct.unpack_from(">I", payload, at + 1)[0]
        at += 5
        if tag == 0x64:
            name = payload[at:at + number].decode()
            at += number
        elif tag == 0x65:
            dimensions = list(struct.unpack_from(">%dI" % number, payload, at))
            at += 4 * number
        elif tag == 0x66:
            offset = number
        elif tag == 0x67:
            size = number
        elif tag == 0x96:
            members = []
            if number == 0xFE:
                while payload[at:at + 5] != b"\x96\x00\x00\x00\xff":
                    member, at = type_at(payload, at)
                    members.append(member)
                at += 5
            return (name, dimensions, offset, size, number, members), at


def definition_of(data):
    assert data[:4] == b"\xda\xde\x03\x00"
    payload = data[13:len(data) - data[12]]
    return type_at(zlib.decompress(payload) if data[4] == 1 else payload, 0)[0]


def read_member(record, data, *path):
    """A number or an array of a record; a name, or a pair of a name and an index."""
    node, shift = record, 0
    for part in path:
        name, index = part if isinstance(part, tuple) else (part, 0)
        node = next(member for member in node[5] if member[0] == name)
        shift += index * node[3]
    kind = {1: "i", 2: "u", 3: "f"}[node[4]] + str(node[3])
    count = int(np.prod(node[1])) if node[1] else 1
    values = np.frombuffer(data, "<" + kind, count, node[2] + shift)
    return values if node[1] else values[0]


def packets_of(path):
    data = path.read_bytes()
    at = 0
    while at < len(data):
        count = struct.unpack_from("<I", data, at)[0]
        at += 4
        chunks = {}
        for _ in range(count):
            channel, described, size, mark = struct.unpack_from("<iiiI", data, at)
            assert mark == 0x01234567
            at += 16
            chunks[channel] = (data[at:at + described], data[at + described + 4:at + described + 4 + size])
            at += described + size + 8
        yield chunks


def truth_of(recording):
    """What holds for all frames of a simulated recording, and its modulation frequencies."""
    truth = {}
    for chunks in packets_of(recording):
        if 9000 in chunks:
            record, data = definition_of(chunks[9000][0]), chunks[9000][1]
            for name in ("distance", "edge", "badPixel"):
                truth[name] = read_member(record, data, name).astype(float)
        if 9002 in chunks:
            record, data = definition_of(chunks[9002][0]), chunks[9002][1]
            frequency = next(member for member in record[5] if member[0] == "frequencies")
            exposures = next(member for member in frequency[5] if member[0] == "exposures")
            number = exposures[1][0] if exposures[1] else 1
            truth["amplitude"] = [
                read_member(record, data, ("frequencies", 0), ("exposures", k), "rawAmplitude").astype(float)
                for k in range(number)
            ]
        if 9004 in chunks:
            record, data = definition_of(chunks[9004][0]), chunks[9004][1]
            truth["frequencies"] = np.atleast_1d(read_member(record, data, "frequencies")).astype(float)
    return truth


def frames_of(result):
    for chunks in packets_of(result):
        record, data = definition_of(chunks[3210][0]), chunks[3210][1]
        frame = {name: read_member(record, data, name)
                 for name in ("distance", "normalizedAmplitude", "confidence", "distanceNoise")}
        if read_member(record, data, "distanceNoiseInvalid") != 0:
            frame["distanceNoise"] = None
        frame["rays"] = read_member(record, data, "distToCartesian", "unitVector").reshape(-1, 3).astype(float)
        yield frame


# --- The figures, as docs/figures.md has them


def median(values, share=0.5):
    if len(values) == 0:
        return None
    return np.sort(values)[max(int(np.ceil(share * len(values))), 1) - 1]


def mean(values):
    return None if len(values) == 0 else np.mean(values)


def scaled(value, factor):
    return None if value is None else value * factor


def usable(frame):
    distance = frame["distance"]
    return ((frame["confidence"] & 1) == 0) & np.isfinite(distance) & (distance > 0)


def errors_of(frames, truth, mask, figures):
    every, off_edges, wrong = [], [], 0
    range_ = LIGHT / (2 * truth["frequencies"].max()) if "frequencies" in truth else None
    for frame in frames:
        judged = usable(frame) & mask & (truth["distance"] > 0)
        edge = np.zeros(PIXELS, bool)
        if "edge" in truth:
            last = (frame["confidence"] & 0x10) != 0
            amplitude = np.where(last, truth["amplitude"][-1], truth["amplitude"][0])
            judged &= (truth["badPixel"] == 0) & (amplitude >= 300)
            edge = truth["edge"] != 0
        raw = frame["distance"].astype(float) - truth["distance"]
        error = raw
        if range_ is not None:
            wrong += np.count_nonzero(np.abs(raw[judged]) >= range_ / 2)
            if len(truth["frequencies"]) == 1:
                error = raw - range_ * np.round(raw / range_)
        every.append(error[judged])
        off_edges.append(error[judged & ~edge])
    every, off_edges = np.concatenate(every), np.concatenate(off_edges)
    figures["judged_pixels"] = len(every)
    figures["bias_mm"] = scaled(mean(every), 1000)
    figures["median_error_mm"] = scaled(median(np.abs(every)), 1000)
    figures["rms_mm"] = scaled(np.sqrt(mean(every**2)), 1000)
    figures["off_edges_bias_mm"] = scaled(mean(off_edges), 1000)
    figures["off_edges_rms_mm"] = scaled(np.sqrt(mean(off_edges**2)), 1000)
    figures["off_edges_p99_error_mm"] = scaled(median(np.abs(off_edges), 0.99), 1000)
    figures["wrong_wrap_share"] = None if range_ is None else wrong / len(every)


def plane_of(frames, truth, mask, figures):
    squares, distances, biases, truths = [], [], [], []
    for frame in frames:
        take = usable(frame) & mask
        distance = frame["distance"][take].astype(float)
        rays = frame["rays"][take]
        points = distance[:, None] * rays
        centre = points.mean(axis=0)
        normal = np.linalg.svd(points - centre, full_matrices=False)[2][2]
        squares.append(((points - centre) @ normal)**2)
        distances.append(distance)
        here = truth["distance"][take]
        known = here > 0
        biases.append((normal @ centre) / (rays[known] @ normal) - here[known])
        truths.append(here[known])
    rms = np.sqrt(np.mean(np.concatenate(squares)))
    bias = np.mean(np.concatenate(biases))
    figures["plane_pixels"] = sum(len(each) for each in distances)
    figures["plane_rms_mm"] = 1000 * rms
    figures["plane_rms_percent"] = 100 * rms / np.mean(np.concatenate(distances))
    figures["plane_bias_mm"] = 1000 * bias
    figures["plane_bias_percent"] = 100 * bias / np.mean(np.concatenate(truths))


def edges_in(line):
    """Starts and ends of the edges of a line; NaN where a pixel does not count."""
    count = len(line)
    ends = {}
    for way in (5, 4, 3, 2, 1):  # the nearest end comes last and stays
        a = np.arange(1, count - way - 1)
        step = line[a + way] - line[a]
        with np.errstate(invalid="ignore"):
            good = (np.abs(step) >= 0.1) & (np.abs(line[a] - line[a - 1]) <= 0.1 * np.abs(step)) \
                & (np.abs(line[a + way + 1] - line[a + way]) <= 0.1 * np.abs(step))
            for k in range(way):
                good &= (line[a + k + 1] - line[a + k]) * np.sign(step) >= 0
        for start in a[good]:
            ends[int(start)] = int(start) + way
    found, free = [], 0
    for start in sorted(ends):
        if start >= free:
            found.append((start, ends[start]))
            free = ends[start]
    return found


def crossing(line, a, b, share):
    done = (line[a:b + 1] - line[a]) / (line[b] - line[a])
    k = int(np.argmax(done >= share))
    return a + k - 1 + (share - done[k - 1]) / (done[k] - done[k - 1])


def depth_edges_of(frames, mask, figures):
    widths, flying, pixels = [], 0, 0
    for frame in frames:
        take = usable(frame) & mask
        image = np.where(take, frame["distance"].astype(float), np.nan).reshape(HEIGHT, WIDTH)
        flies = np.zeros((HEIGHT, WIDTH), bool)
        for lines, marks in ((image, flies), (image.T, flies.T)):
            for number, line in enumerate(lines):
                for a, b in edges_in(line):
                    widths.append(crossing(line, a, b, 0.9) - crossing(line, a, b, 0.1))
                    margin = 0.1 * abs(line[b] - line[a])
                    inner = line[a + 1:b]
                    marks[number, a + 1:b] |= (np.abs(inner - line[a]) > margin) & (np.abs(inner - line[b]) > margin)
        flying += np.count_nonzero(flies)
        pixels += np.count_nonzero(take)
    figures["flying_pixels"] = flying
    figures["flying_share"] = flying / pixels
    figures["edges"] = len(widths)
    figures["edge_width_pixels"] = median(np.array(widths))


def noise_of(frames, mask, figures):
    distance = np.array([frame["distance"] for frame in frames], float)
    good = np.array([usable(frame) & mask for frame in frames])
    always = good.all(axis=0)
    deviation = np.std(distance[:, always], axis=0, ddof=1)
    figures["temporal_noise_mm"] = 1000 * median(deviation)
    if any(frame["distanceNoise"] is None for frame in frames):
        for name in ("predicted_noise_mm", "noise_ratio", "within_one_sigma", "within_two_sigma"):
            figures[name] = None
        return []
    noise = np.array([frame["distanceNoise"] for frame in frames], float)
    delivered = np.sqrt(np.mean(noise[:, always]**2, axis=0))
    known = np.isfinite(delivered) & (delivered > 0)
    figures["predicted_noise_mm"] = 1000 * median(delivered[known])
    figures["noise_ratio"] = median(deviation[known] / delivered[known])
    amplitude = np.array([frame["normalizedAmplitude"] for frame in frames], float)
    good &= np.isfinite(noise) & (noise > 0)
    pair = good[1:] & good[:-1]
    square = (np.diff(distance, axis=0)**2)[pair]
    variance = (noise[1:]**2 + noise[:-1]**2)[pair]
    weight = ((amplitude[1:] + amplitude[:-1]) / 2)[pair]
    figures["within_one_sigma"] = np.mean(square <= variance)
    figures["within_two_sigma"] = np.mean(square <= 4 * variance)
    rows = []
    octave = np.floor(np.log2(weight))
    for exponent in np.unique(octave):
        row = octave == exponent
        measured = np.sqrt(np.mean(square[row]) / 2)
        predicted = np.sqrt(np.mean(variance[row]) / 2)
        rows.append({"fromCountsPerMicrosecond": 2.0**exponent, "toCountsPerMicrosecond": 2.0**(exponent + 1),
                     "pairs": np.count_nonzero(row), "measured_mm": 1000 * measured,
                     "predicted_mm": 1000 * predicted, "ratio": measured / predicted,
                     "within_one_sigma": np.mean(square[row] <= variance[row]),
                     "within_two_sigma": np.mean(square[row] <= 4 * variance[row])})
    return rows


def figures_of(frames, truth, mask):
    figures = {"frames": len(frames), "pixels": len(frames) * np.count_nonzero(mask)}
    confidence = np.concatenate([frame["confidence"][mask] for frame in frames])
    figures["valid_share"] = np.mean((confidence & 1) == 0)
    figures["usable_share"] = np.mean(np.concatenate([usable(frame)[mask] for frame in frames]))
    for name, bit in (("saturated", 2), ("dark", 8), ("asymmetric", 4), ("unassigned", 32)):
        figures[name + "_share"] = np.mean((confidence & bit) != 0)
    errors_of(frames, truth, mask, figures)
    plane_of(frames, truth, mask, figures)
    depth_edges_of(frames, mask, figures)
    rows = noise_of(frames, mask, figures)
    return figures, rows


# --- Regions


def polygon_mask(numbers):
    corners = np.array(numbers).reshape(-1, 2)
    y, x = np.mgrid[0:HEIGHT, 0:WIDTH] + 0.5
    inside = np.zeros((HEIGHT, WIDTH), bool)
    for (ax, ay), (bx, by) in zip(corners, np.roll(corners, -1, axis=0)):
        if ay != by:
            inside ^= ((ay > y) != (by > y)) & (x < ax + (bx - ax) * (y - ay) / (by - ay))
    return inside.ravel()


def disc():
    y, x = np.mgrid[0:HEIGHT, 0:WIDTH]
    return ((x - 150)**2 + (y - 100)**2 < 40**2)


def write_png(path, image):
    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))
    rows = b"".join(b"\0" + row.tobytes() for row in (image.astype(np.uint8) * 255))
    path.write_bytes(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", WIDTH, HEIGHT, 8, 0, 0, 0, 0)) +
                     chunk(b"IDAT", zlib.compress(rows)) + chunk(b"IEND", b""))


def mask_of(shape):
    kind, value = shape.split(":")
    if kind == "mask":
        return disc().ravel()
    numbers = [float(part) for part in value.split(",")]
    if kind == "polygon":
        return polygon_mask(numbers)
    left, top, width, height = numbers
    y, x = np.mgrid[0:HEIGHT, 0:WIDTH] + 0.5
    return ((x >= left) & (x < left + width) & (y >= top) & (y < top + height)).ravel()


# --- The comparison


def differs(told, computed):
    if told is None or computed is None:
        return told is not computed
    return not abs(told - computed) <= TOLERANCE * max(abs(told), abs(computed))


def compare(place, told, computed):
    """Counts the figures that disagree, and says which."""
    wrong = 0
    for name, value in computed.items():
        if differs(told[name], value):
            print(f"{place} {name}: qor {told[name]}, NumPy {value}")
            wrong += 1
    return wrong


def main():
    qor, folder = sys.argv[1], pathlib.Path(sys.argv[2])
    folder.mkdir(parents=True, exist_ok=True)
    write_png(folder / "disc.png", disc())

    def run(*arguments):
        done = subprocess.run([qor, *arguments], cwd=folder, capture_output=True, text=True)
        if done.returncode != 0:
            sys.exit(f"qor {' '.join(arguments)} ended with {done.returncode}: {done.stderr}")
        return done.stdout

    wrong = compared = 0
    for name, simulated, measured in RECORDINGS:
        run("simulate", *simulated, "--quiet", "--out", f"{name}.zelta")
        run("run", f"{name}.zelta", "--force", "--quiet", "--out", name)
        regions = [word for region, shape in REGIONS.items() for word in ("--region", f"{region}={shape}")]
        document = json.loads(run("metrics", f"{name}/result.zelta", "--truth", f"{name}.zelta", "--json", *regions,
                                  *measured))
        truth = truth_of(folder / f"{name}.zelta")
        frames = list(frames_of(folder / name / "result.zelta"))
        if measured:  # a flat target across the axis, of which no amplitude is known
            truth = {"frequencies": truth["frequencies"], "distance": float(measured[1]) / frames[0]["rays"][:, 2]}
        masks = {"": np.ones(PIXELS, bool), **{region: mask_of(shape) for region, shape in REGIONS.items()}}
        for region, mask in masks.items():
            told = document["regions"][region] if region else document
            figures, rows = figures_of(frames, truth, mask)
            place = f"{name} {region or 'image'}"
            wrong += compare(place, told["figures"], figures)
            compared += len(figures)
            if len(rows) != len(told["noiseByAmplitude"]):
                print(f"{place}: qor has {len(told['noiseByAmplitude'])} rows of noise, NumPy {len(rows)}")
                wrong += 1
            for told_row, row in zip(told["noiseByAmplitude"], rows):
                wrong += compare(f"{place} noise from {row['fromCountsPerMicrosecond']}", told_row, row)
                compared += len(row)
    print(f"{compared} figures compared, {wrong} differ")
    sys.exit(1 if wrong or not compared else 0)


main()
