# SPDX-License-Identifier: Apache-2.0
"""The golden recordings in Chromium: the pipeline as WebAssembly gives the stored hashes there too.

    chromium_test.py MODULE.js HASHES [unittest's options]
"""
import os
import pathlib
import sys
import tempfile
import unittest

from chromium import browser, run_js

MODULE, HASHES = (pathlib.Path(os.path.abspath(word)) for word in sys.argv[1:3])


class Golden(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        page = pathlib.Path(cls.folder.name) / "page.html"
        page.write_text(f'<!DOCTYPE html><meta charset="utf-8"><link rel="icon" href="data:,">'
                        f'<script src="{MODULE.as_uri()}"></script>', encoding="utf-8")
        cls.driver = browser()
        cls.driver.get(page.as_uri())

    @classmethod
    def tearDownClass(cls):
        cls.driver.quit()
        cls.folder.cleanup()

    def test_hashes_are_those_stored(self):
        names = sorted(file.stem for file in HASHES.glob("*.txt"))
        self.assertGreater(len(names), 80)
        for name in names:
            with self.subTest(name):
                said = run_js(self.driver,  # the pipeline may say something before
                              "const lines = []; const print = line => lines.push(line);"
                              "const module = await createRecordings({print, printErr: print});"
                              f"module.callMain(['/hashes', '{name}']); return lines;")
                self.assertEqual(said[-1:], [f"{name}: 0 differences from the stored hashes"])

    def test_a_hash_that_differs_is_told(self):
        name = "1-exposures-1-frequencies"
        said = run_js(self.driver,
                      "const lines = []; const print = line => lines.push(line);"
                      "const module = await createRecordings({print, printErr: print, preRun: [module => {"
                      f"  const file = '/hashes/{name}.txt';"
                      "  const text = new TextDecoder().decode(module.FS.readFile(file));"
                      "  module.FS.writeFile(file, text.replace(/(3210 distance [0-9a-f]{7})./, '$1!')); }]});"
                      f"module.callMain(['/hashes', '{name}']); return lines;")
        self.assertEqual(said[-1], f"{name}: 1 differences from the stored hashes")


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]])
