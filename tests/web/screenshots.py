#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""The pictures of docs/workbench.md, taken of the page in headless Chromium.

    screenshots.py QOR PAGE FOLDER
"""
import io
import pathlib
import subprocess
import sys
import tempfile
import time

from PIL import Image
from selenium.webdriver.common.action_chains import ActionChains

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))
import chromium  # noqa: E402: it stands beside this file

QOR, PAGE, FOLDER = (pathlib.Path(word).resolve() for word in sys.argv[1:4])
SPATIAL_FILTER = "QorDistanceImageIFInput.customization.filterSet.spatialFilter"


def wait(driver, script):
    end = time.time() + 60
    while not driver.execute_script(script):
        if time.time() > end:
            raise TimeoutError(script)
        time.sleep(0.05)


def settle(driver):
    chromium.run_js(driver, "await workbench.settled(); await new Promise(go => requestAnimationFrame(() => requestAnimationFrame(go)));")


def save(driver, name, box=None):
    """With 256 colours: what is small in the repository and still reads well."""
    settle(driver)
    picture = Image.open(io.BytesIO(driver.get_screenshot_as_png())).convert("RGB")
    if box:
        picture = picture.crop(box)
    picture.quantize(256).save(FOLDER / f"{name}.png", optimize=True)


def fresh(driver, page):
    driver.get("about:blank")
    driver.get(f"file://{page}")
    wait(driver, "return document.body.dataset.opened")
    wait(driver, "return workbench.sideA.progress.isComplete")


def photograph(driver, page):
    fresh(driver, page)
    image = driver.find_element("css selector", "canvas.image")
    ActionChains(driver).move_to_element_with_offset(image, 30, 10).click().perform()
    save(driver, "workbench")

    # A setting found, changed and saved.
    driver.find_element("id", "settings-search").send_keys("spatial")
    save(driver, "workbench-search", (0, 0, 900, 560))
    chromium.run_js(driver, f"const choice = document.getElementById('setting-{SPATIAL_FILTER}');"
                            "choice.value = 'median'; choice.dispatchEvent(new Event('change')); choice.focus();")
    save(driver, "workbench-changed", (0, 0, 900, 560))
    driver.execute_script("document.getElementById('save').focus()")
    save(driver, "workbench-saved", (0, 600, 900, 800))

    driver.execute_script("document.getElementById('compare').click()")
    wait(driver, "return workbench.panels.length === 6 && workbench.panels[5].hasImage")
    save(driver, "workbench-compare")

    fresh(driver, page)
    chromium.run_js(driver, "document.querySelector('[data-tab=cloud]').click();")
    wait(driver, "return document.getElementById('cloud').dataset.points")
    save(driver, "workbench-cloud", (980, 0, 1280, 560))

    chromium.resize(driver, 390, 844)
    fresh(driver, page)
    save(driver, "workbench-phone")
    chromium.resize(driver, 1280, 800)


def main():
    FOLDER.mkdir(parents=True, exist_ok=True)
    with tempfile.TemporaryDirectory() as folder:
        recording, page = pathlib.Path(folder, "hall.zelta"), pathlib.Path(folder, "page.html")
        subprocess.run([QOR, "simulate", "--scene", "hall", "--frequencies", "60MHz,80MHz", "--exposures", "1000,4000",
                        "--frames", "4", "--intensity-image", "--quiet", "--out", recording], check=True)
        subprocess.run([QOR, "view", recording, "--page", PAGE, "--no-open", "--out", page], check=True,
                       stdout=subprocess.DEVNULL)
        driver = chromium.browser()
        try:
            photograph(driver, page)
        finally:
            driver.quit()


main()
