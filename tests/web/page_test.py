# SPDX-License-Identifier: Apache-2.0
"""The workbench in Chromium: what it shows and computes equals what the command qor does.

    page_test.py QOR PAGE FOLDER [unittest's options]
"""
import base64
import json
import os
import shutil
import subprocess
import sys
import time
import unittest

import numpy
from PIL import Image
from selenium import webdriver
from selenium.webdriver.chrome.service import Service

QOR, PAGE, FOLDER = (os.path.abspath(word) for word in sys.argv[1:4])
RECORDING = os.path.join(FOLDER, "hall.zelta")
MIN_AMPLITUDE = "QorDistanceImageIFInput.customization.minAmplitude"
MARGIN, HEAD, ENLARGEMENT = 24, 64, 4  # of the pictures that qor draws
WIDTH, HEIGHT = 224, 172


def qor(*words, expect=0):
    done = subprocess.run([QOR, *words], capture_output=True, text=True, check=False)
    if done.returncode != expect:
        raise AssertionError(f"qor {' '.join(words)} ended with {done.returncode}: {done.stderr}")
    return done.stdout


def browser(width=1280, height=800):
    options = webdriver.ChromeOptions()
    options.binary_location = "/usr/bin/chromium"
    for word in ("--headless=new", "--no-sandbox", "--use-angle=swiftshader", "--enable-unsafe-swiftshader",
                 "--hide-scrollbars", "--force-device-scale-factor=1"):
        options.add_argument(word)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    driver = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
    driver.set_script_timeout(120)
    driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                           {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})
    return driver


def pixels_of_figure(path):
    """The image in a picture of qor, one colour a pixel."""
    picture = numpy.asarray(Image.open(path).convert("RGB"))
    rows = HEAD + ENLARGEMENT * numpy.arange(HEIGHT)
    columns = MARGIN + ENLARGEMENT * numpy.arange(WIDTH)
    return picture[rows][:, columns]


class Page(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        os.makedirs(FOLDER, exist_ok=True)
        qor("simulate", "--scene", "hall", "--frequencies", "60MHz,80MHz", "--exposures", "1000,4000",
            "--frames", "6", "--intensity-image", "--out", RECORDING)
        cls.page = os.path.join(FOLDER, "page.html")
        qor("view", RECORDING, "--page", PAGE, "--no-open", "--out", cls.page)
        cls.driver = browser()

    @classmethod
    def tearDownClass(cls):
        cls.driver.quit()

    def setUp(self):
        self.driver.get("about:blank")
        self.driver.get(f"file://{self.page}")
        self.wait("return document.body.dataset.opened")

    def tearDown(self):
        self.assertEqual(self.driver.get_log("browser"), [])

    def wait(self, script, seconds=60):
        end = time.time() + seconds
        while time.time() < end:
            value = self.driver.execute_script(script)
            if value:
                return value
            time.sleep(0.02)
        raise AssertionError(f"{script} stays {value}; the page says "
                             + self.driver.execute_script("return document.getElementById('message').textContent"))

    def run_js(self, body):
        """The value of an asynchronous function's body."""
        value = self.driver.execute_async_script(
            "const done = arguments[0]; (async () => {" + body + "})().then(done, error => done({failed: error.message}));")
        if isinstance(value, dict) and "failed" in value:
            raise AssertionError(value["failed"])
        return value

    def shown(self, panel):
        coded = self.run_js(
            f"const panel = workbench.panels[{panel}];"
            "const data = panel.image.getContext('2d').getImageData(0, 0, 224, 172).data;"
            "return btoa(Array.from(data, byte => String.fromCharCode(byte)).join(''));")
        return numpy.frombuffer(base64.b64decode(coded), numpy.uint8).reshape(HEIGHT, WIDTH, 4)[:, :, :3]

    def result(self):
        coded = self.run_js("const bytes = await workbench.sideA.engine.call('result');"
                            "return btoa(Array.from(bytes, byte => String.fromCharCode(byte)).join(''));")
        return base64.b64decode(coded)

    def open_file(self, path):
        self.driver.execute_script("document.body.dataset.opened = ''")
        self.driver.find_element("id", "file").send_keys(path)
        self.wait("return document.body.dataset.opened", 120)

    def message(self):
        return self.driver.execute_script("return document.getElementById('message').textContent")

    def test_panels_equal_the_pictures_of_qor_run(self):
        out = os.path.join(FOLDER, "pictures")
        qor("run", RECORDING, "--force", "--out", out, "--frames", "2", "--distance-range", "0:7",
            "--amplitude-range", "0:1", "--quiet")
        self.run_js("workbench.panels[0].limits = [0, 7]; workbench.panels[1].limits = [0, 1];"
                    "await workbench.goTo(2);")
        for panel, name in enumerate(("distance", "amplitude", "confidence")):
            expected = pixels_of_figure(os.path.join(out, f"00002_{name}.png"))
            different = (self.shown(panel) != expected).any(axis=2).sum()
            self.assertEqual(different, 0, f"pixels of {name}")

    def test_a_moved_slider_gives_the_bits_of_qor_run_with_set(self):
        out = os.path.join(FOLDER, "strict")
        qor("run", RECORDING, "--force", "--out", out, "--set", f"{MIN_AMPLITUDE}=60", "--quiet")
        before = self.result()
        self.run_js(
            "const count = Number(document.body.dataset.updates);"
            f"const slider = document.querySelector('input[type=range][aria-label=\"{MIN_AMPLITUDE}\"]');"
            "slider.step = 1; slider.value = 60; slider.dispatchEvent(new Event('input'));"
            "while (Number(document.body.dataset.updates) === count) await new Promise(go => setTimeout(go, 5));")
        after = self.result()
        with open(os.path.join(out, "result.zelta"), "rb") as file:
            expected = file.read(len(after))
        self.assertGreater(len(after), 1000000)
        self.assertNotEqual(after, before)
        self.assertEqual(after, expected)
        self.assertIn(f"--set {MIN_AMPLITUDE}=60",
                      self.driver.execute_script("return document.getElementById('command').value"))

    def test_a_filter_over_time_takes_the_frames_before_it_in(self):
        out = os.path.join(FOLDER, "mean")
        setting = "QorDistanceImageIFInput.customization.filterSet.temporalFilter"
        qor("run", RECORDING, "--force", "--out", out, "--set", f"{setting}=mean", "--frames", "3", "--quiet")
        self.run_js(f"workbench.sideA.changes.set('{setting}', 'mean'); await workbench.goTo(3);")
        with open(os.path.join(out, "result.zelta"), "rb") as file:
            self.assertEqual(self.result(), file.read())

    def test_every_setting_of_the_customization_is_there_and_can_be_searched(self):
        listed = qor("show", RECORDING, "3208", "QorDistanceImageIFInput.customization", "--json")
        self.assertIn("minAmplitude", listed)
        expressions = self.run_js("return workbench.settingsList.settings.map(setting => setting.expression);")
        for name in ("minAmplitude", "filterSet.spatialFilter", "enableStraylightCorrection", "distNoiseThreshold"):
            self.assertIn(f"QorDistanceImageIFInput.customization.{name}", expressions)
        self.assertIn("QorDistanceImageIFInput.param.maxUniqueRange", expressions)
        self.assertTrue(any(each.startswith("QorDistanceImageIFCalib.") for each in expressions))
        self.driver.find_element("id", "settings-search").send_keys("spatialFilter")
        visible = self.run_js("return [...document.querySelectorAll('.setting:not([hidden]) .name')].map(each => each.textContent);")
        self.assertEqual(visible, ["spatialFilter"])

    def test_the_cloud_shows_every_usable_pixel(self):
        self.run_js("document.querySelector('[data-tab=cloud]').click();")
        usable = self.run_js(
            "const {distance, confidence} = workbench.sideA.outcome.images;"
            "return distance.filter((value, i) => value > 0 && Number.isFinite(value) && (confidence[i] & 1) === 0).length;")
        self.assertEqual(int(self.wait("return document.getElementById('cloud').dataset.points")), usable)
        painted = self.run_js(
            "const canvas = document.getElementById('cloud'); const gl = canvas.getContext('webgl2');"
            "const bytes = new Uint8Array(4 * canvas.width * canvas.height);"
            "gl.readPixels(0, 0, canvas.width, canvas.height, gl.RGBA, gl.UNSIGNED_BYTE, bytes);"
            "let count = 0; for (let i = 0; i < bytes.length; i += 4) count += bytes[i] + bytes[i + 1] + bytes[i + 2] > 90;"
            "return count / (canvas.width * canvas.height);")
        self.assertGreater(painted, 0.03)

    def test_a_damaged_recording_gives_words_and_its_good_frames(self):
        damaged = os.path.join(FOLDER, "damaged.zelta")
        shutil.copy(RECORDING, damaged)
        with open(damaged, "r+b") as file:
            file.seek(os.path.getsize(damaged) * 3 // 4)
            file.write(bytes(2000))
            file.truncate(os.path.getsize(damaged) * 9 // 10)
        self.open_file(damaged)
        self.wait("return /damaged|ends/.test(document.getElementById('message').textContent)")
        self.assertGreater(self.run_js("return workbench.sideA.progress.frames;"), 1)

    def test_a_recording_of_two_gigabytes_is_never_held_whole(self):
        large = os.path.join(FOLDER, "large.zelta")
        shutil.copy(RECORDING, large)
        os.truncate(large, 2_200_000_000)
        self.open_file(large)
        self.assertTrue(self.run_js("return workbench.panels[0].hasImage;"))
        self.assertRegex(self.wait("return document.getElementById('index').textContent"), "frames")
        memory = self.run_js("return performance.memory.usedJSHeapSize;")
        self.assertLess(memory, 300_000_000)
        self.driver.get("about:blank")
        os.remove(large)

    def test_the_link_brings_the_view_back(self):
        self.run_js(f"workbench.sideA.changes.set('{MIN_AMPLITUDE}', '77'); await workbench.goTo(4);")
        address = self.driver.current_url
        self.driver.get("about:blank")
        self.driver.get(address)
        self.wait("return document.body.dataset.opened")
        self.wait("return document.getElementById('frame').value === '4'")
        self.assertEqual(self.run_js("return [Number(document.getElementById('frame').value),"
                                     f"workbench.sideA.changes.get('{MIN_AMPLITUDE}')];"), [4, "77"])

    def test_comparing_shows_both_sides_and_their_difference(self):
        self.run_js("document.getElementById('compare').click();")
        self.wait("return workbench.panels.length === 6 && workbench.panels[5].hasImage")
        self.assertTrue((self.shown(0) == self.shown(1)).all())

    def test_times_are_measured(self):
        start = self.driver.execute_script("return performance.timing.loadEventEnd - performance.timing.navigationStart")
        figures = self.run_js(
            f"const slider = document.querySelector('input[type=range][aria-label=\"{MIN_AMPLITUDE}\"]');"
            "const all = [], pipeline = [];"
            "for (let k = 0; k < 40; ++k) {"
            "  const count = Number(document.body.dataset.updates);"
            "  slider.value = 10 + k; slider.dispatchEvent(new Event('input'));"
            "  while (Number(document.body.dataset.updates) === count) await new Promise(go => setTimeout(go, 1));"
            "  all.push(Number(document.body.dataset.milliseconds)); pipeline.push(Number(document.body.dataset.pipeline)); }"
            "const median = values => values.slice(20).sort((a, b) => a - b)[10];"
            "document.getElementById('play').click(); await new Promise(go => setTimeout(go, 3000));"
            "document.getElementById('play').click();"
            "return {image: median(all), pipeline: median(pipeline), rate: Number(document.body.dataset.rate)};")
        print(f"\nslider to image {figures['image']:.1f} ms, pipeline {figures['pipeline']:.1f} ms, "
              f"play {figures['rate']:.1f} frames/s, page loaded after {start} ms, page {os.path.getsize(PAGE)} bytes")
        self.assertGreater(figures["rate"], 0)
        self.assertLess(os.path.getsize(PAGE), 2_500_000)


class Report(unittest.TestCase):
    def test_its_first_part_needs_no_script_and_keeps_the_limit(self):
        out = os.path.join(FOLDER, "report.html")
        qor("report", RECORDING, "--page", PAGE, "--out", out, "--quiet")
        self.assertLess(os.path.getsize(out), 10_000_000)
        options = webdriver.ChromeOptions()
        options.binary_location = "/usr/bin/chromium"
        for word in ("--headless=new", "--no-sandbox", "--blink-settings=scriptEnabled=false"):
            options.add_argument(word)
        driver = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
        try:
            driver.get(f"file://{out}")
            text = driver.find_element("class name", "report").text
            self.assertIn("Usable pixels", text)
            self.assertGreaterEqual(len(driver.find_elements("css selector", ".report img")), 3)
            printed = driver.execute_cdp_cmd("Page.printToPDF", {"preferCSSPageSize": True})
            self.assertGreater(len(json.dumps(printed)), 10000)
        finally:
            driver.quit()


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[4:]])
