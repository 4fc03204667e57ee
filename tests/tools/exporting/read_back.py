#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Reads what qor export writes with the readers of others, and compares every number with the record.

read_back.py QOR          NumPy, Pillow, meshio, the csv module
read_back.py QOR --pcl    the tools of the Point Cloud Library
"""

import csv
import json
import pathlib
import subprocess
import sys
import tempfile
import unittest

import numpy as np

HEIGHT, WIDTH = 172, 224
FRAMES = 2
RAW_IMAGES = 4
qor = pathlib.Path(sys.argv[1]).resolve()
with_pcl = "--pcl" in sys.argv


def run(*words):
    """What a command prints; it must succeed."""
    done = subprocess.run([str(word) for word in words], capture_output=True, text=True, check=False)
    if done.returncode != 0:
        raise AssertionError(f"{words} ended with {done.returncode}: {done.stderr}")
    return done.stdout


def members(recording, channel, expression):
    """The values of a record in each packet, by another way than the export: as JSON."""
    document = json.loads(run(qor, "show", recording, channel, expression, "--all", "--json"))
    return [np.array(packet["values"][expression]) for packet in document["packets"]]


class Recordings:
    """One simulated recording with dark pixels, and its results; made once."""

    def __init__(self, folder):
        self.folder = folder
        self.raw = folder / "raw.zelta"
        run(qor, "simulate", "--scene", "room", "--frames", FRAMES, "--min-amplitude", 150, "--out", self.raw)
        run(qor, "run", self.raw, "--out", folder / "run", "--quiet")
        self.result = folder / "run" / "result.zelta"
        self.images = {
            name: [np.float32(values).reshape(HEIGHT, WIDTH) for values in
                   members(self.result, 3210, "QorDistanceImageIFOutput." + member)]
            for name, member in (("distance", "distance"), ("amplitude", "normalizedAmplitude"), ("x", "X"),
                                 ("y", "Y"), ("z", "Z"), ("confidence", "confidence"))}
        self.usable = [(np.uint8(confidence) & 1 == 0) & np.isfinite(distance) & (distance > 0)
                       for confidence, distance in zip(self.images["confidence"], self.images["distance"])]

    def expected(self, name, frame):
        """An image with NaN where the pixel is not usable."""
        return np.where(self.usable[frame], self.images[name][frame], np.float32(np.nan))

    def points(self, frame):
        """Rows of x, y, z, amplitude, a row for each usable pixel."""
        image = np.stack([self.images[name][frame] for name in ("x", "y", "z", "amplitude")], axis=-1)
        return image[self.usable[frame]]

    def export(self, source, *words):
        out = pathlib.Path(tempfile.mkdtemp(dir=self.folder))
        run(qor, "export", source, "--out", out, *words)
        return out


class ReadBack(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.place = tempfile.TemporaryDirectory()
        cls.made = Recordings(pathlib.Path(cls.place.name))

    @classmethod
    def tearDownClass(cls):
        cls.place.cleanup()


class NumberFormats(ReadBack):
    def test_the_recording_has_pixels_of_both_kinds(self):
        for usable in self.made.usable:
            self.assertGreater(np.count_nonzero(usable), 1000)
            self.assertGreater(np.count_nonzero(~usable), 1000)

    def test_npy_holds_each_image(self):
        names = ("distance", "amplitude", "x", "y", "z")
        out = self.made.export(self.made.result, "--format", "npy", "--images", ",".join(names) + ",confidence")
        for frame in range(FRAMES):
            for name in names:
                array = np.load(out / f"{frame:05}_{name}.npy")
                self.assertEqual(array.dtype, np.float32)
                np.testing.assert_array_equal(array, self.made.expected(name, frame))
            confidence = np.load(out / f"{frame:05}_confidence.npy")
            self.assertEqual(confidence.dtype, np.uint8)
            np.testing.assert_array_equal(confidence, self.made.images["confidence"][frame])

    def test_npz_holds_all_images_of_a_frame(self):
        out = self.made.export(self.made.result, "--format", "npz", "--images", "distance,amplitude")
        for frame in range(FRAMES):
            with np.load(out / f"{frame:05}_images.npz") as archive:
                self.assertEqual(sorted(archive), ["amplitude", "distance"])
                for name in archive:
                    np.testing.assert_array_equal(archive[name], self.made.expected(name, frame))

    def test_csv_has_a_row_for_each_pixel(self):
        out = self.made.export(self.made.result, "--format", "csv", "--images", "distance,confidence")
        with open(out / "00001_images.csv", newline="", encoding="ascii") as file:
            rows = list(csv.reader(file))
        self.assertEqual(rows[0], ["frame", "row", "column", "distance", "confidence"])
        self.assertEqual(len(rows), 1 + HEIGHT * WIDTH)
        distance = np.array([row[3] or "nan" for row in rows[1:]], dtype=np.float32)
        np.testing.assert_array_equal(distance.reshape(HEIGHT, WIDTH), self.made.expected("distance", 1))
        confidence = np.array([int(row[4]) for row in rows[1:]])
        np.testing.assert_array_equal(confidence.reshape(HEIGHT, WIDTH), self.made.images["confidence"][1])
        self.assertEqual([row[:3] for row in rows[1:3] + rows[225:226]],
                         [["1", "0", "0"], ["1", "0", "1"], ["1", "1", "0"]])

    def test_raw_images_are_the_samples_of_12_bits(self):
        out = self.made.export(self.made.raw, "--format", "npy,png16", "--images", "raw")
        packed = np.array(members(self.made.raw, 3200, "QorRawPhaseData.phaseData"), dtype=np.uint16)
        triples = packed.reshape(FRAMES, RAW_IMAGES, HEIGHT + 1, WIDTH // 2, 3)[:, :, 1:]
        samples = np.stack([triples[..., 0] << 4 | triples[..., 2] & 15, triples[..., 1] << 4 | triples[..., 2] >> 4],
                           axis=-1).reshape(FRAMES, RAW_IMAGES, HEIGHT, WIDTH)
        for frame in range(FRAMES):
            array = np.load(out / f"{frame:05}_raw.npy")
            self.assertEqual(array.dtype, np.uint16)
            np.testing.assert_array_equal(array, samples[frame])
            for k in range(RAW_IMAGES):
                np.testing.assert_array_equal(picture(out / f"{frame:05}_raw{k}.png")[0], samples[frame, k])

    def test_members_are_what_the_record_holds(self):
        name = "QorDistanceImageIFInput.phaseInfo.exposureTime"
        truth = "SceneTruth.distance"
        out = self.made.export(self.made.raw, "--format", "npy,npz", "--member", name, "--member", truth)
        with np.load(out / "00001_members.npz") as archive:
            np.testing.assert_array_equal(archive[name], members(self.made.raw, 3208, name)[0])
            np.testing.assert_array_equal(archive[truth], np.float32(members(self.made.raw, 9000, truth)[0]))
        table = run(qor, "export", self.made.raw, "--format", "csv", "--member", name, "--out", "-").splitlines()
        self.assertEqual([row["packet"] for row in csv.DictReader(table)], [str(k) for k in range(1, 9)])
        self.assertEqual([int(row[name]) for row in csv.DictReader(table)],
                         [int(value) for value in members(self.made.raw, 3208, name)])


def picture(path):
    """The values of a picture and its texts."""
    from PIL import Image
    with Image.open(path) as image:
        return np.array(image), dict(image.text)


class Pictures(ReadBack):
    def test_distances_are_millimetres(self):
        out = self.made.export(self.made.result, "--format", "png16")
        for frame in range(FRAMES):
            counts, texts = picture(out / f"{frame:05}_distance.png")
            expected = np.floor(np.float64(self.made.images["distance"][frame]) * 1000.0 + 0.5)
            np.testing.assert_array_equal(counts, np.where(self.made.usable[frame], expected, 0))
            self.assertEqual((texts["Unit"], texts["Offset"], texts["Factor"]), ("m", "0", "0.001"))

    def test_the_texts_of_16_bits_lead_back_to_the_values(self):
        out = self.made.export(self.made.result, "--format", "png16", "--images", "amplitude,x")
        for name in ("amplitude", "x"):
            for frame in range(FRAMES):
                counts, texts = picture(out / f"{frame:05}_{name}.png")
                usable = self.made.usable[frame]
                np.testing.assert_array_equal(counts == 0, ~usable)
                factor = float(texts["Factor"])
                values = float(texts["Offset"]) + factor * counts[usable]
                np.testing.assert_allclose(values, self.made.images[name][frame][usable], rtol=0, atol=0.51 * factor)

    def test_colours_are_black_where_there_is_no_value_only(self):
        out = self.made.export(self.made.result, "--format", "png")
        for frame in range(FRAMES):
            colours, texts = picture(out / f"{frame:05}_distance.png")
            self.assertEqual(colours.shape, (HEIGHT, WIDTH, 3))
            np.testing.assert_array_equal(colours.any(axis=-1), self.made.usable[frame])
            self.assertEqual(texts["Minimum"], "0")

    def test_grey_follows_the_limits(self):
        out = self.made.export(self.made.result, "--format", "png", "--colors", "grey", "--limits", "distance=1:2")
        colours, texts = picture(out / "00000_distance.png")
        self.assertEqual((texts["Minimum"], texts["Maximum"]), ("1", "2"))
        shares = np.clip(np.float64(self.made.images["distance"][0]) - 1.0, 0.0, 1.0)
        expected = np.where(self.made.usable[0], np.floor(shares * 255.0 + 0.5), 0)
        for channel in range(3):
            np.testing.assert_array_equal(colours[..., channel], expected)


class Points(ReadBack):
    def test_ply_holds_the_usable_points_and_none_in_the_origin(self):
        import meshio
        for kind in ("ply", "ply-text"):
            out = self.made.export(self.made.result, "--format", kind)
            for frame in range(FRAMES):
                mesh = meshio.read(out / f"{frame:05}_points.ply")
                points = np.column_stack([mesh.points, mesh.point_data["amplitude"]])
                np.testing.assert_array_equal(np.float32(points), self.made.points(frame))
                self.assertTrue(mesh.points.any(axis=1).all())


class PointCloudLibrary(ReadBack):
    def read(self, path):
        """Rows of x, y, z, amplitude in pixels' order; the library writes the text that is read here."""
        text = path.with_suffix(".read.pcd")
        run("pcl_convert_pcd_ascii_binary", path, text, 0, 9)
        head, _, body = text.read_text(encoding="ascii").partition("DATA ascii\n")
        self.assertIn(f"WIDTH {WIDTH}\nHEIGHT {HEIGHT}\n", head)
        self.assertIn("FIELDS x y z amplitude", head)
        return np.array(body.split(), dtype=np.float32).reshape(-1, 4)

    def test_pcd_has_a_point_for_each_pixel_and_none_in_the_origin(self):
        for kind in ("pcd", "pcd-text"):
            out = self.made.export(self.made.result, "--format", kind)
            for frame in range(FRAMES):
                points = self.read(out / f"{frame:05}_points.pcd")
                usable = self.made.usable[frame].ravel()
                np.testing.assert_array_equal(points[usable], self.made.points(frame))
                self.assertTrue(np.isnan(points[~usable, :3]).all())
                self.assertTrue(points[:, :3].any(axis=1).all())

    def test_ply_holds_the_usable_points(self):
        for kind in ("ply", "ply-text"):
            out = self.made.export(self.made.result, "--format", kind)
            cloud = out / "00000_cloud.pcd"
            run("pcl_ply2pcd", out / "00000_points.ply", cloud, "-format", 0)
            body = cloud.read_text(encoding="ascii").partition("DATA ascii\n")[2]
            np.testing.assert_allclose(np.array(body.split(), dtype=np.float64).reshape(-1, 4),
                                       self.made.points(0), rtol=1e-6, atol=1e-7)


if __name__ == "__main__":
    chosen = [PointCloudLibrary] if with_pcl else [NumberFormats, Pictures, Points]
    suite = unittest.TestSuite(unittest.defaultTestLoader.loadTestsFromTestCase(case) for case in chosen)
    sys.exit(0 if unittest.TextTestRunner(verbosity=2).run(suite).wasSuccessful() else 1)
