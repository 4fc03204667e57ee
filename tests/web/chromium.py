# SPDX-License-Identifier: Apache-2.0
"""Debian's Chromium without a screen, driven by its own driver."""
from selenium import webdriver
from selenium.webdriver.chrome.service import Service


def browser(width=1280, height=800, script=True, dark=False):
    """A new browser with a page of so many CSS pixels."""
    options = webdriver.ChromeOptions()
    options.binary_location = "/usr/bin/chromium"
    for word in ("--headless=new", "--no-sandbox", "--use-angle=swiftshader", "--enable-unsafe-swiftshader",
                 "--hide-scrollbars", "--force-device-scale-factor=1"):
        options.add_argument(word)
    if not script:
        options.add_argument("--blink-settings=scriptEnabled=false")
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    driver = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
    driver.set_script_timeout(120)
    resize(driver, width, height)
    if dark:
        colour_scheme(driver, "dark")
    return driver


def resize(driver, width, height):
    driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                           {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})


def colour_scheme(driver, name):
    """What the page is told of the reader's wish: "light" or "dark"."""
    driver.execute_cdp_cmd("Emulation.setEmulatedMedia",
                           {"features": [{"name": "prefers-color-scheme", "value": name}]})


def run_js(driver, body):
    """The value of an asynchronous function's body."""
    value = driver.execute_async_script(
        "const done = arguments[0]; (async () => {" + body + "})().then(done, error => done({failed: error.message}));")
    if isinstance(value, dict) and "failed" in value:
        raise AssertionError(value["failed"])
    return value
