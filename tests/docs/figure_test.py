#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""When docs/make takes two figures for the same."""
import base64
import io
import re
import sys
import unittest
from pathlib import Path

import numpy
from PIL import Image

sys.dont_write_bytecode = True
sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "docs/making"))
import figure  # noqa: E402

SCALE = figure.Scale("turbo", 0, 1, "m")
DATA = re.compile(r"data:image/png;base64,([A-Za-z0-9+/=]+)")


def text_of(values, title="distance"):
    return figure.figure([figure.Picture(title, values, SCALE)])


def compressed_otherwise(text):
    image = Image.open(io.BytesIO(base64.b64decode(DATA.search(text).group(1))))
    data = io.BytesIO()
    image.convert("RGB").save(data, "PNG", compress_level=0)
    return DATA.sub("data:image/png;base64," + base64.b64encode(data.getvalue()).decode(), text)


class Figures(unittest.TestCase):
    values = numpy.linspace(0, 1, 12).reshape(3, 4)

    def test_the_same_values_give_the_same_text(self):
        self.assertEqual(text_of(self.values), text_of(self.values.copy()))

    def test_pictures_that_are_compressed_otherwise_are_alike(self):
        text = text_of(self.values)
        other = compressed_otherwise(text)
        self.assertNotEqual(text, other)
        self.assertTrue(figure.alike(text, other))

    def test_one_pixel_makes_figures_differ(self):
        changed = self.values.copy()
        changed[1, 2] = 0
        self.assertFalse(figure.alike(text_of(self.values), text_of(changed)))

    def test_one_letter_makes_figures_differ(self):
        self.assertFalse(figure.alike(text_of(self.values), text_of(self.values, "distances")))

    def test_a_pixel_without_value_is_black_and_differs_from_the_lowest_one(self):
        without = self.values.copy()
        without[0, 0] = numpy.nan
        image = SCALE.picture(without).convert("RGB")
        self.assertEqual(image.getpixel((0, 0)), (0, 0, 0))
        self.assertFalse(figure.alike(text_of(self.values), text_of(without)))

    def test_values_beyond_a_scale_have_the_colours_of_its_ends(self):
        image = SCALE.picture(numpy.array([[-5.0, 0.0, 1.0, 7.0]])).convert("RGB")
        self.assertEqual(image.getpixel((0, 0)), image.getpixel((1, 0)))
        self.assertEqual(image.getpixel((2, 0)), image.getpixel((3, 0)))
        self.assertNotEqual(image.getpixel((0, 0)), image.getpixel((3, 0)))


unittest.main()
