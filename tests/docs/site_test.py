#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""The site of the pages: anchors, lists, links that move, and links that lead nowhere."""
import sys
import tempfile
import unittest
from pathlib import Path

sys.dont_write_bytecode = True
CHECKOUT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(CHECKOUT / "docs/making"))
import site_pages  # noqa: E402

PAGE = CHECKOUT / "docs/pipeline.md"
NAMES = {CHECKOUT / "README.md": "index.html", PAGE: "pipeline.html"}


class Site(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.site = Path(self.folder.name)

    def moved(self, content):
        broken = []
        return site_pages._moved(content, PAGE, NAMES, self.site, broken), broken

    def dead_ends(self, **pages):
        for name, text in pages.items():
            (self.site / f"{name}.html").write_text(text)
        return site_pages._dead_ends(self.site, [f"{name}.html" for name in pages])

    def test_an_anchor_is_the_heading_in_small_letters_with_hyphens(self):
        self.assertEqual(site_pages.slug("10. Noise, and `X - Y`"), "10-noise-and-x---y")

    def test_a_list_that_follows_a_line_gets_an_empty_line_before_it(self):
        self.assertEqual(site_pages._with_lists_apart("text\n- one\n- two\n  more\n- three"),
                         "text\n\n- one\n- two\n  more\n- three")

    def test_code_that_looks_like_a_list_stays(self):
        text = "```\ntext\n- one\n```"
        self.assertEqual(site_pages._with_lists_apart(text), text)

    def test_a_link_to_a_page_leads_to_its_html_and_keeps_the_anchor(self):
        self.assertEqual(self.moved('<a href="../README.md#speed">'), ('<a href="index.html#speed">', []))

    def test_a_picture_comes_along(self):
        self.assertEqual(self.moved('<img src="images/packing.svg">'), ('<img src="files/packing.svg">', []))
        self.assertTrue((self.site / "files/packing.svg").is_file())

    def test_a_link_to_no_file_is_told_with_its_page(self):
        self.assertEqual(self.moved('<a href="missing.md">')[1], ["docs/pipeline.md: missing.md"])

    def test_a_file_outside_of_the_checkout_is_not_taken_along(self):
        self.assertEqual(self.moved('<a href="../../../../etc/hostname">')[1],
                         ["docs/pipeline.md: ../../../../etc/hostname"])

    def test_an_anchor_that_no_heading_has_is_a_dead_end(self):
        self.assertEqual(self.dead_ends(a='<a href="b.html#there"><a href="b.html#gone">', b='<h2 id="there">'),
                         ["a.html: b.html#gone"])

    def test_a_picture_that_is_not_there_is_a_dead_end(self):
        self.assertEqual(self.dead_ends(a='<img src="files/gone.svg">'), ["a.html: files/gone.svg"])


unittest.main()
