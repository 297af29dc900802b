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
    """Starts Firefox on `profile`, saving downloads into `downloads`; its output goes to `log`."""

    def __init__(self, binary, profile, downloads, log):
        with open(os.path.join(profile, "user.js"), "w") as f:
            for name, value in {**PREFS, "browser.download.dir": downloads}.items():
                f.write(f"user_pref({json.dumps(name)}, {json.dumps(value)});\n")
        self.process = subprocess.Popen([binary, "--headless", "--marionette", "--no-remote",
                                         "-profile", profile], stdout=log, stderr=log)
        port = os.path.join(profile, "MarionetteActivePort")  # written once it listens
        for _ in range(1200):
            if os.path.exists(port) and open(port).read().strip() or time.sleep(0.05):
                break
        self.socket = socket.create_connection(("127.0.0.1", int(open(port).read())))
        self.buffer, self.sent = b"", 0
        self.read()  # its hello
        self("WebDriver:NewSession", capabilities={})

    def read(self):
        while b":" not in self.buffer or len(self.buffer.split(b":", 1)[1]) < int(
                self.buffer.split(b":", 1)[0]):
            self.buffer += self.socket.recv(1 << 20) or b"0:"  # an ended connection: an error
        size, rest = self.buffer.split(b":", 1)
        self.buffer = rest[int(size):]
        return json.loads(rest[:int(size)])

    def __call__(self, command, **params):
        self.sent += 1
        message = json.dumps([0, self.sent, command, params]).encode()
        self.socket.sendall(b"%d:%s" % (len(message), message))
        _, _, error, result = self.read()
        if error:
            raise AssertionError(f"{command}: {error['error']}: {error['message']}")
        return result.get("value", result) if isinstance(result, dict) else result

    def get(self, url): self("WebDriver:Navigate", url=url)
    def execute_script(self, script): return self("WebDriver:ExecuteScript", script=script)
    def execute_async_script(self, s): return self("WebDriver:ExecuteAsyncScript", script=s)
    def set_window_size(self, w, h): self("WebDriver:SetWindowRect", width=w, height=h)
    def find_element(self, by, v): return Element(self, self("WebDriver:FindElement", using=by,
                                                              value=v))
    current_url = property(lambda self: self("WebDriver:GetCurrentURL"))

    def save_screenshot(self, path):
        with open(path, "wb") as f:
            f.write(base64.b64decode(self("WebDriver:TakeScreenshot", full=False)))

    def quit(self):
        self("Marionette:Quit")
        self.process.wait(60)
