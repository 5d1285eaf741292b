"""Drives the page in Chromium through chromedriver, and in Firefox through Firefox's own protocol.

Both classes have the methods `open`, which opens an address, `script`, which runs a script in the page, and
`send_keys`, which types into an element. WebDriver sends the keys, so the page gets real keyboard events.
"""

import json
import os
import shutil
import socket
import subprocess
import tempfile
import time

from harness.program import BUILD, REPOSITORY, STEP_LIMIT, wait_until

PAGE = REPOSITORY / "build" / "web" / "meter.html"
TERMINAL = "#terminal textarea"

ENTER, BACKSPACE, ESCAPE, TAB = "\ue007", "\ue003", "\ue00c", "\ue004"
CONTROL, RELEASED = "\ue009", "\ue000"


def address(fragment="", page=PAGE):
    return page.as_uri() + (f"#{fragment}" if fragment else "")


class Chromium:
    """Headless Chromium. It saves downloads in the directory `downloads`."""

    def __init__(self, width=1400, height=900):
        from selenium import webdriver
        from selenium.webdriver.chrome.service import Service

        BUILD.mkdir(parents=True, exist_ok=True)
        self.profile = tempfile.mkdtemp(prefix="chromium-", dir=BUILD)
        self.downloads = os.path.join(self.profile, "downloads")
        options = webdriver.ChromeOptions()
        options.binary_location = "/usr/bin/chromium"
        for argument in ("--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage",
                         "--disable-background-networking", "--force-color-profile=srgb",
                         "--js-flags=--expose-gc", "--enable-precise-memory-info",
                         f"--user-data-dir={self.profile}/data", f"--window-size={width},{height}"):
            options.add_argument(argument)
        options.add_experimental_option("prefs", {"download.default_directory": self.downloads})
        options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
        self.driver = webdriver.Chrome(options=options, service=Service("/usr/bin/chromedriver"))
        self.driver.set_script_timeout(STEP_LIMIT)

    def open(self, url):
        # If only the fragment of the address differs, the browser does not load the page again.
        self.driver.get("about:blank")
        self.driver.get(url)

    def script(self, text, *arguments):
        return self.driver.execute_script(text, *arguments)

    def async_script(self, text, *arguments):
        """Runs a script that calls its last argument, a function, with the result. Returns this result."""
        return self.driver.execute_async_script(text, *arguments)

    def send_keys(self, keys, selector=TERMINAL):
        self.driver.find_element("css selector", selector).send_keys(keys)

    def press(self, keys):
        """Types into the element that has the focus."""
        self.driver.switch_to.active_element.send_keys(keys)

    def click(self, selector):
        self.driver.find_element("css selector", selector).click()

    def devtools(self, command, **parameters):
        return self.driver.execute_cdp_cmd(command, parameters)

    def set_size(self, width, height, scale=1):
        self.devtools("Emulation.setDeviceMetricsOverride", width=width, height=height,
                      deviceScaleFactor=scale, mobile=False)

    def set_colours(self, scheme):
        self.devtools("Emulation.setEmulatedMedia", features=[{"name": "prefers-color-scheme", "value": scheme}])

    def console_messages(self):
        """Returns the messages in the browser's console since the last call."""
        return [entry["message"] for entry in self.driver.get_log("browser")]

    def close(self):
        self.driver.quit()
        shutil.rmtree(self.profile, ignore_errors=True)


class Firefox:
    """Headless Firefox, driven through the protocol Marionette. A request is "LENGTH:[0, number, command,
    parameters]". A response is "LENGTH:[1, number, error, result]"."""

    def __init__(self):
        BUILD.mkdir(parents=True, exist_ok=True)
        self.profile = tempfile.mkdtemp(prefix="firefox-", dir=BUILD)
        preferences = {"marionette.port": 0, "datareporting.policy.dataSubmissionEnabled": False,
                       "browser.shell.checkDefaultBrowser": False, "app.update.enabled": False}
        with open(os.path.join(self.profile, "user.js"), "w", encoding="utf-8") as file:
            file.writelines(f"user_pref({json.dumps(k)}, {json.dumps(v)});\n" for k, v in preferences.items())
        environment = {**os.environ, "HOME": self.profile, "MOZ_DISABLE_AUTO_SAFE_MODE": "1"}
        self.process = subprocess.Popen(
            ["firefox-esr", "--headless", "--marionette", "--no-remote", "--profile", self.profile],
            env=environment, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.count = 0
        self.received = b""
        self.socket = self.connect()
        self.read_message()  # the greeting
        self.call("WebDriver:NewSession", {"capabilities": {}})
        self.call("WebDriver:SetTimeouts", {"script": int(STEP_LIMIT * 1000)})

    def connect(self):
        port_file = os.path.join(self.profile, "MarionetteActivePort")
        wait_until(lambda: os.path.exists(port_file) and open(port_file, encoding="ascii").read().strip(),
                   lambda: "Firefox does not listen")
        connection = socket.create_connection(("127.0.0.1", int(open(port_file, encoding="ascii").read())))
        connection.settimeout(2 * STEP_LIMIT)
        return connection

    def read_message(self):
        while b":" not in self.received:
            self.receive()
        length, _, self.received = self.received.partition(b":")
        while len(self.received) < int(length):
            self.receive()
        message, self.received = self.received[:int(length)], self.received[int(length):]
        return json.loads(message)

    def receive(self):
        part = self.socket.recv(65536)
        if not part:
            raise EOFError("Firefox has closed the connection")
        self.received += part

    def call(self, command, parameters):
        self.count += 1
        message = json.dumps([0, self.count, command, parameters]).encode()
        self.socket.sendall(b"%d:%s" % (len(message), message))
        _, _, error, result = self.read_message()
        if error:
            raise RuntimeError(f"{command}: {error['error']}: {error['message']}")
        return result.get("value") if isinstance(result, dict) and "value" in result else result

    def open(self, url):
        self.call("WebDriver:Navigate", {"url": "about:blank"})
        self.call("WebDriver:Navigate", {"url": url})

    def script(self, text, *arguments):
        return self.call("WebDriver:ExecuteScript", {"script": text, "args": list(arguments)})

    def async_script(self, text, *arguments):
        return self.call("WebDriver:ExecuteAsyncScript", {"script": text, "args": list(arguments)})

    def send_keys(self, keys, selector=TERMINAL):
        found = self.call("WebDriver:FindElement", {"using": "css selector", "value": selector})
        [element] = found.values()
        self.call("WebDriver:ElementSendKeys", {"id": element, "text": keys})

    def close(self):
        try:
            self.call("Marionette:Quit", {"flags": ["eForceQuit"]})
        except (OSError, EOFError, RuntimeError):
            pass
        self.socket.close()
        try:
            self.process.wait(STEP_LIMIT)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
        shutil.rmtree(self.profile, ignore_errors=True)


def output_of(browser):
    """Returns all bytes that the program has written to standard output."""
    text = browser.script("""
        let text = "";
        for (const byte of meter.output())
            text += String.fromCharCode(byte);
        return text;""")
    return text.encode("latin-1")


def wait_for_output(browser, wanted, seconds=STEP_LIMIT):
    """Waits until the output contains `wanted`, but at most `seconds`. Returns the output in both cases."""
    until = time.monotonic() + seconds
    output = output_of(browser)
    while wanted not in output and time.monotonic() < until:
        time.sleep(0.02)
        output = output_of(browser)
    return output


def screen_rows(browser):
    """Returns the rows of the terminal as a screen reader gets them, without spaces at their ends."""
    rows = browser.script("""
        return [...document.querySelectorAll(".xterm-accessibility-tree > div")].map(row => row.textContent);""")
    return [row.replace("\xa0", " ").rstrip() for row in rows]


def wait_for_rows(browser, wanted):
    """Waits until the rows of the terminal that are not empty are exactly `wanted`."""
    def shown():
        return [row for row in screen_rows(browser) if row]
    wait_until(lambda: shown() == wanted, shown)
