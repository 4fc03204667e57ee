# SPDX-License-Identifier: Apache-2.0
"""The workbench in Chromium: what it shows and computes equals what the command qor does.

    page_test.py QOR PAGE FOLDER [unittest's options]
"""
import base64
import os
import shutil
import subprocess
import sys
import time
import unittest

import numpy
from PIL import Image
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.keys import Keys

import chromium

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
        cls.driver = chromium.browser()

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
        return chromium.run_js(self.driver, body)

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

    # The camera of the cloud: at a distance of 1.2 times the reach, its own axes turned by nothing.
    def places_in_the_cloud(self, points, width, height, middle, reach):
        x, y, z = (points[axis] - middle[k] for k, axis in enumerate("XYZ"))
        depth = z + 1.2 * reach
        columns = (1 + 1.7 * height / width * x / depth) / 2 * width
        rows = (1 + 1.7 * y / depth) / 2 * height
        return numpy.stack([rows, columns]).round().astype(int)

    def test_the_cloud_has_points_where_the_truth_has_them_and_nowhere_else(self):
        out = os.path.join(FOLDER, "truth")
        os.makedirs(out, exist_ok=True)
        points = {}
        for axis in "XYZ":
            qor("export", RECORDING, "--force", "--format", "npy", "--member", f"SceneTruth.{axis}", "--out", out)
        for file in sorted(os.listdir(out)):
            if file.endswith(".npy"):
                points[next(axis for axis in "XYZ" if f"SceneTruth.{axis}" in file)] = numpy.load(os.path.join(out, file))
        usable = numpy.array(self.run_js(
            "const {distance, confidence} = workbench.sideA.outcome.images;"
            "return Array.from(distance, (value, i) => value > 0 && (confidence[i] & 1) === 0);")).reshape(HEIGHT, WIDTH)
        points = {axis: numpy.squeeze(points[axis]).reshape(HEIGHT, WIDTH)[usable] for axis in "XYZ"}
        self.run_js("document.querySelector('[data-tab=cloud]').click();")
        self.wait("return document.getElementById('cloud').dataset.points")
        middle, reach = [0.3, 0.2, 3.0], 5.0
        width, height, coded = self.run_js(
            f"Object.assign(workbench.cloud, {{angles: [0, 0], middle: {middle}, reach: {reach}}});"
            "workbench.cloud.draw(); const {canvas, gl} = workbench.cloud;"
            "const bytes = new Uint8Array(4 * canvas.width * canvas.height);"
            "gl.readPixels(0, 0, canvas.width, canvas.height, gl.RGBA, gl.UNSIGNED_BYTE, bytes);"
            "const painted = []; for (let i = 0; i < bytes.length; i += 4) painted.push(bytes[i] + bytes[i + 1] + bytes[i + 2] > 90 ? 1 : 0);"
            "return [canvas.width, canvas.height, painted.join('')];")
        painted = (numpy.frombuffer(coded.encode(), numpy.uint8) == ord("1")).reshape(height, width)[::-1]
        rows, columns = self.places_in_the_cloud(points, width, height, middle, reach)
        inside = (rows > 3) & (rows < height - 4) & (columns > 3) & (columns < width - 4)
        expected = numpy.zeros((height, width), bool)
        expected[rows[inside], columns[inside]] = True

        def widened(mask, by):
            result = mask.copy()
            for dy in range(-by, by + 1):
                for dx in range(-by, by + 1):
                    result |= numpy.roll(mask, (dy, dx), (0, 1))
            return result

        self.assertGreater(inside.sum(), 10000)
        # A distance may be wrong by some noise, and so its place by a pixel or three.
        self.assertGreater(widened(painted, 1)[rows[inside], columns[inside]].mean(), 0.99)
        self.assertGreater(widened(expected, 3)[painted].mean(), 0.97)
        self.assertLess(painted.mean(), 0.9)

    def test_a_compressed_recording_gives_the_same_images(self):
        packed = os.path.join(FOLDER, "hall.zeltaz")
        qor("extract", RECORDING, "--out", packed)
        self.run_js("await workbench.goTo(2);")
        before = self.result()
        self.open_file(packed)
        self.wait("return workbench.sideA.progress.isComplete")
        self.run_js("await workbench.goTo(2);")
        self.assertEqual(self.result(), before)

    def test_on_the_way_to_a_far_frame_the_page_tells_how_far_it_is_and_hears_other_wishes(self):
        long = os.path.join(FOLDER, "long.zelta")
        qor("simulate", "--scene", "wall", "--frames", "60", "--out", long)
        self.open_file(long)
        self.wait("return workbench.sideA.progress.isComplete")
        said = self.run_js(
            "const said = new Set(); const message = document.getElementById('message');"
            "new MutationObserver(() => said.add(message.textContent)).observe(message, {childList: true});"
            "workbench.sideA.changes.set('QorDistanceImageIFInput.customization.filterSet.temporalFilter', 'mean');"
            "const way = workbench.goTo(59);"
            "while (said.size === 0) await new Promise(go => setTimeout(go, 5));"
            "workbench.sideA.changes.delete('QorDistanceImageIFInput.customization.filterSet.temporalFilter');"
            "const shown = performance.now(); await workbench.goTo(3); await way;"
            "return [[...said], workbench.sideA.outcome.frame];")
        self.assertRegex(said[0][0], r"^On the way to frame 59: \d+ of 59 frames before it are done\.$")
        self.assertEqual(said[1], 3)

    def test_a_damaged_recording_gives_words_and_its_good_frames(self):
        damaged = os.path.join(FOLDER, "damaged.zelta")
        shutil.copy(RECORDING, damaged)
        with open(damaged, "r+b") as file:
            file.seek(os.path.getsize(damaged) * 3 // 4)
            file.write(bytes(2000))
            file.truncate(os.path.getsize(damaged) * 9 // 10)
        self.open_file(damaged)
        self.wait("return /^damaged.zelta is damaged at byte/.test(document.getElementById('message').textContent)")
        self.assertGreater(self.run_js("return workbench.sideA.progress.frames;"), 1)

    def test_a_recording_of_two_gigabytes_with_a_hole_gives_words_and_is_never_held_whole(self):
        large = os.path.join(FOLDER, "large.zelta")
        shutil.copy(RECORDING, large)
        os.truncate(large, 2_200_000_000)
        self.open_file(large)
        self.assertTrue(self.run_js("return workbench.panels[0].hasImage;"))
        self.wait("return workbench.sideA.progress.isComplete")
        self.assertEqual(self.run_js("return workbench.sideA.progress.frames;"), 6)
        self.assertEqual(self.message(), f"large.zelta has a hole at byte {os.path.getsize(RECORDING)}: from there on it "
                                         "holds zeros in place of packets. What comes after them is not shown.")
        memory = self.run_js("return performance.memory.usedJSHeapSize;")
        self.assertLess(memory, 300_000_000)
        self.driver.get("about:blank")
        os.remove(large)

    def test_the_link_brings_the_view_back(self):
        self.run_js(f"workbench.sideA.changes.set('{MIN_AMPLITUDE}', '77'); await workbench.goTo(4);")
        self.wait("return /frame=4/.test(location.hash)")
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

    def contrasts(self):
        """The words of the page with a contrast below 4.5, of those that can be seen."""
        return self.run_js(
            "const canvas = new OffscreenCanvas(1, 1).getContext('2d', {willReadFrequently: true});"
            "const rgba = color => { canvas.clearRect(0, 0, 1, 1); canvas.fillStyle = color; canvas.fillRect(0, 0, 1, 1);"
            "  return [...canvas.getImageData(0, 0, 1, 1).data]; };"
            "const light = color => { const [r, g, b] = color.map(v => { v /= 255;"
            "  return v <= 0.03928 ? v / 12.92 : ((v + 0.055) / 1.055) ** 2.4; }); return 0.2126 * r + 0.7152 * g + 0.0722 * b; };"
            "const ground = element => { for (let e = element; e; e = e.parentElement) {"
            "  const color = rgba(getComputedStyle(e).backgroundColor); if (color[3] === 255) return color; } return [255, 255, 255, 255]; };"
            "const poor = [];"
            "for (const element of document.querySelectorAll('body *')) {"
            "  const words = [...element.childNodes].filter(node => node.nodeType === 3).map(node => node.textContent.trim()).join('')"
            "    || (element.matches('input[type=text], textarea') ? element.value : '');"
            "  if (!words || !element.checkVisibility() || element.matches('script, style')) continue;"
            "  const [a, b] = [light(rgba(getComputedStyle(element).color)), light(ground(element))];"
            "  const contrast = (Math.max(a, b) + 0.05) / (Math.min(a, b) + 0.05);"
            "  if (contrast < 4.5) poor.push(`${words.slice(0, 30)}: ${contrast.toFixed(2)}`); }"
            "return poor;")

    def test_words_stand_out_from_their_ground_in_light_and_dark(self):
        self.run_js(f"workbench.settingsList.set(workbench.settingsList.settings.find(each => each.expression === '{MIN_AMPLITUDE}'), '33');"
                    "await workbench.update();")
        try:
            for scheme in ("light", "dark"):
                chromium.colour_scheme(self.driver, scheme)
                for tab in ("pixel", "region", "cloud", "times"):
                    self.run_js(f"document.querySelector('[data-tab={tab}]').click();")
                    self.assertEqual(self.contrasts(), [], f"{scheme}, {tab}")
        finally:
            chromium.colour_scheme(self.driver, "light")

    def test_the_tab_key_reaches_every_control(self):
        expected = self.run_js(
            "return [...document.querySelectorAll('button, input, select, textarea, canvas.image')]"
            ".filter(element => element.checkVisibility({visibilityProperty: true}) && element.tabIndex >= 0)"
            ".map((element, k) => { element.dataset.number = k; return k; });")
        reached = set()
        for _ in range(len(expected) + 20):
            ActionChains(self.driver).send_keys(Keys.TAB).perform()
            number = self.driver.execute_script("return document.activeElement.dataset.number")
            if number is not None:
                reached.add(int(number))
        missing = self.run_js(f"const missing = {sorted(set(expected) - reached)};"
                              "return missing.map(k => document.querySelector(`[data-number='${k}']`).outerHTML.slice(0, 120));")
        self.assertEqual(missing, [])

    def test_a_region_can_be_drawn_by_keys(self):
        self.run_js("document.querySelector('[data-tab=region]').click(); document.getElementById('rectangle').click();"
                    "workbench.panels[0].canvas.focus();")
        image = self.driver.switch_to.active_element
        image.send_keys(Keys.ENTER, *[Keys.ARROW_RIGHT] * 9, *[Keys.ARROW_DOWN] * 4, Keys.ENTER)
        self.assertRegex(self.driver.find_element("id", "region-plane").text, r"^Plane through (4\d|50) points")
        self.assertEqual(self.driver.find_element("id", "rectangle").get_attribute("aria-pressed"), "false")

    def test_every_control_and_image_has_a_name(self):
        nameless = self.run_js(
            "return [...document.querySelectorAll('button, input, select, textarea, canvas:not([aria-hidden=true])')].filter(element =>"
            "  !(element.getAttribute('aria-label') || element.textContent.trim() || element.labels?.length))"
            "  .map(element => element.outerHTML.slice(0, 120));")
        self.assertEqual(nameless, [])

    def test_scales_are_named(self):
        names = self.run_js("return [...document.querySelectorAll('select.map')].filter(each => !/Raw phase$/.test(each.ariaLabel))"
                            ".map(each => each.selectedOptions[0].textContent);")
        self.assertGreaterEqual(len(names), 5)
        self.assertLessEqual(set(names), {"Turbo", "Viridis", "Grey", "Blue, white, red"})

    def test_at_the_width_of_a_phone_nothing_is_cut_off(self):
        chromium.resize(self.driver, 390, 844)
        try:
            self.wait("return document.documentElement.scrollWidth <= 390", 5)
            self.driver.save_screenshot(os.path.join(FOLDER, "phone.png"))
        finally:
            chromium.resize(self.driver, 1280, 800)

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
        driver = chromium.browser(script=False)
        try:
            driver.get(f"file://{out}")
            text = driver.find_element("class name", "report").text
            self.assertIn("rms_mm", text)
            self.assertGreaterEqual(len(driver.find_elements("css selector", ".report img")), 3)
            self.assertGreaterEqual(len(driver.find_elements("css selector", ".report svg")), 2)
            printed = driver.execute_cdp_cmd("Page.printToPDF", {"preferCSSPageSize": True, "printBackground": True})
            with open(os.path.join(FOLDER, "report.pdf"), "wb") as file:
                file.write(base64.b64decode(printed["data"]))
        finally:
            driver.quit()


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[4:]])
