"""Drives a headless browser through its WebDriver interface."""

import base64
import json
import re
import shutil
import subprocess
import tempfile
import urllib.request

# Root cannot use the browser's process isolation. The other arguments keep the browser from using the network.
ARGUMENTS = ["--headless=new", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
             "--disable-background-networking", "--disable-component-update", "--disable-sync",
             "--window-size=1180,900"]
ELEMENT = "element-6066-11e4-a52e-4f735466cecf"
KEYS = {"Escape": "\ue00c", "Enter": "\ue007", "Tab": "\ue004"}


class Browser:
    def __init__(self):
        self.profile = tempfile.mkdtemp(prefix="kestrelbay-browser-")
        self.driver = subprocess.Popen(["chromedriver", "--port=0"], stdout=subprocess.PIPE,
                                       stderr=subprocess.DEVNULL, text=True)
        self.address = self._address()
        options = {"args": [*ARGUMENTS, "--user-data-dir=" + self.profile], "binary": shutil.which("chromium")}
        wishes = {"goog:chromeOptions": options, "goog:loggingPrefs": {"browser": "ALL"}}
        made = self._send("POST", "/session", {"capabilities": {"alwaysMatch": wishes}})
        self.address += "/session/" + made["sessionId"]

    def _address(self):
        for line in self.driver.stdout:
            if found := re.search(r"started successfully on port (\d+)", line):
                return "http://127.0.0.1:" + found[1]
        raise RuntimeError("chromedriver does not start")

    def _send(self, method, path, body=None):
        data = None if body is None else json.dumps(body).encode()
        request = urllib.request.Request(self.address + path, data, {"Content-Type": "application/json"},
                                         method=method)
        # Not through a proxy that the environment may name.
        opener = urllib.request.build_opener(urllib.request.ProxyHandler({}))
        with opener.open(request, timeout=60) as answer:
            return json.load(answer)["value"]

    def close(self):
        try:
            self._send("DELETE", "")
        finally:
            self.driver.terminate()
            self.driver.wait()
            self.driver.stdout.close()
            shutil.rmtree(self.profile, ignore_errors=True)

    def open(self, file):
        self._send("POST", "/url", {"url": file.resolve().as_uri()})

    def run(self, script):
        """The result of a function body."""
        return self._send("POST", "/execute/sync", {"script": script, "args": []})

    def press(self, *keys):
        """Types into the focused element. Each key is a name of KEYS or a text."""
        actions = []
        for text in (KEYS.get(key, key) for key in keys):
            for character in text:
                actions += [{"type": kind, "value": character} for kind in ("keyDown", "keyUp")]
        self._send("POST", "/actions", {"actions": [{"type": "key", "id": "keys", "actions": actions}]})

    def prefer(self, scheme):
        """Sets whether the reader of the pages prefers a light or a dark background."""
        features = [{"name": "prefers-color-scheme", "value": scheme}]
        self._send("POST", "/goog/cdp/execute", {"cmd": "Emulation.setEmulatedMedia",
                                                 "params": {"features": features}})

    def messages(self):
        """The errors of pages since the last call."""
        return [entry["message"] for entry in self._send("POST", "/se/log", {"type": "browser"})]

    def screenshot(self):
        return base64.b64decode(self._send("GET", "/screenshot"))
