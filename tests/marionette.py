"""Headless Firefox driven over its own Marionette protocol (JSON messages over TCP, each after
its length and a colon), with the few selenium calls the browser test makes."""
import base64
import json
import os
import socket
import subprocess
import time

KEY = "element-6066-11e4-a52e-4f735466cecf"
# Marionette itself turns off updates, telemetry and first-run pages; these save downloads
# without asking and write the pages' console, not the browser's own, to standard output.
PREFS = {"marionette.port": 0, "browser.download.folderList": 2,
         "browser.download.always_ask_before_handling_new_types": False,
         "devtools.console.stdout.content": True, "messaging-system.log": "off"}


class Element:
    def __init__(self, driver, found):
        self.call = lambda command, **params: driver(command, id=found[KEY], **params)
        self.click = lambda: self.call("WebDriver:ElementClick")
        self.send_keys = lambda text: self.call("WebDriver:ElementSendKeys", text=text)
        self.get_attribute = lambda name: self.call("WebDriver:GetElementAttribute", name=name)

    text = property(lambda self: self.call("WebDriver:GetElementText"))


class Firefox:
    """Starts Firefox on `profile`, saving downloads into `downloads`; errors() tells the lines
    of its pages' console errors since it was last asked."""

    def __init__(self, binary, profile, downloads):
        with open(os.path.join(profile, "user.js"), "w") as f:
            f.writelines(f"user_pref({json.dumps(k)}, {json.dumps(v)});\n" for k, v in
                         {**PREFS, "browser.download.dir": downloads}.items())
        log, port = (os.path.join(profile, f) for f in ("console.txt", "MarionetteActivePort"))
        command = [binary, "--headless", "--marionette", "--no-remote", "-profile", profile]
        self.process = subprocess.Popen(command, stdout=open(log, "w"), stderr=subprocess.STDOUT)
        self.log = open(log)
        while not (os.path.exists(port) and open(port).read()) and self.process.poll() is None:
            time.sleep(0.05)  # the port is written once it listens
        self.stream = socket.create_connection(("localhost", open(port).read())).makefile("rwb")
        self.sent = 0
        self.read()  # its hello
        self("WebDriver:NewSession", capabilities={})

    def read(self):
        size = b""
        while (byte := self.stream.read(1)) not in b":":  # so is b"", the end: then an error
            size += byte
        return json.loads(self.stream.read(int(size)))

    def __call__(self, command, **params):
        self.sent += 1
        message = json.dumps([0, self.sent, command, params]).encode()
        self.stream.write(b"%d:%s" % (len(message), message))
        self.stream.flush()
        _, _, error, result = self.read()
        if error:
            raise AssertionError(f"{command}: {error['error']}: {error['message']}")
        return result.get("value", result) if isinstance(result, dict) else result

    def errors(self):  # the browser's own modules (resource://, chrome://) are not the page
        return [line for line in self.log.read().splitlines()
                if line.startswith(("console.error", "JavaScript error"))
                and not line.startswith(("JavaScript error: resource://", "JavaScript error: chrome://"))]
    def get(self, url): self("WebDriver:Navigate", url=url)
    def execute_script(self, script): return self("WebDriver:ExecuteScript", script=script)
    def execute_async_script(self, s): return self("WebDriver:ExecuteAsyncScript", script=s)  # bench/page_timing.py
    def set_window_size(self, w, h): self("WebDriver:SetWindowRect", width=w, height=h)
    def set_page_load_timeout(self, s): self("WebDriver:SetTimeouts", pageLoad=int(s * 1000))
    def find_element(self, by, v): return Element(self, self("WebDriver:FindElement", using=by,
                                                              value=v))
    def save_screenshot(self, path):
        with open(path, "wb") as f:
            f.write(base64.b64decode(self("WebDriver:TakeScreenshot", full=False)))

    def quit(self):
        self("Marionette:Quit")
        self.process.wait(60)
