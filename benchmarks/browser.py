"""A Chromium that a script drives, over the WebDriver protocol (W3C) of chromedriver."""

import json
import subprocess
import urllib.request

ELEMENT = "element-6066-11e4-a52e-4f735466cecf"


class Browser:
    """A window without a screen; `arguments` are more of Chromium's own."""

    def __init__(self, folder, script=True, arguments=()):
        self._driver = subprocess.Popen(["chromedriver", "--port=0"], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                                        text=True)
        port = next(line.split()[-1].rstrip(".") for line in self._driver.stdout if "successfully on port" in line)
        self._session = f"http://127.0.0.1:{port}/session"
        options = {"args": ["--headless=new", "--no-sandbox", "--disable-gpu", f"--user-data-dir={folder}",
                            "--window-size=1400,900", "--autoplay-policy=no-user-gesture-required", *arguments],
                   "prefs": {} if script else {"profile.managed_default_content_settings.javascript": 2}}
        wanted = {"browserName": "chrome", "goog:chromeOptions": options, "goog:loggingPrefs": {"performance": "ALL"}}
        told = self._ask("", {"capabilities": {"alwaysMatch": wanted}})
        self._session += "/" + told["sessionId"]

    def __enter__(self):
        return self

    def __exit__(self, *_):
        try:
            self._ask("", method="DELETE")
        finally:
            self._driver.terminate()
            self._driver.wait(10)
            self._driver.stdout.close()

    def _ask(self, path, body=None, method=None):
        data = None if body is None else json.dumps(body).encode()
        request = urllib.request.Request(self._session + path, data, {"Content-Type": "application/json"}, method=method)
        with urllib.request.urlopen(request, timeout=60) as answer:
            return json.load(answer)["value"]

    def open(self, url):
        self._ask("/url", {"url": url})

    def run(self, script, *arguments):
        """What the body of a function answers."""
        return self._ask("/execute/sync", {"script": script, "args": list(arguments)})

    def wait(self, condition):
        """Until an expression holds, for ten seconds at most; false when it never does."""
        script = ("const done = arguments[0], end = Date.now() + 10000;"
                  f"const look = () => ({condition}) ? done(true) : Date.now() > end ? done(false) : setTimeout(look, 20);"
                  "look();")
        return self._ask("/execute/async", {"script": script, "args": []})

    def find(self, selector):
        return self._ask("/element", {"using": "css selector", "value": selector})[ELEMENT]

    def texts(self, selector):
        found = self._ask("/elements", {"using": "css selector", "value": selector})
        return [self._ask(f"/element/{each[ELEMENT]}/text") for each in found]

    def click(self, selector):
        self._ask(f"/element/{self.find(selector)}/click", {})

    def type(self, selector, text):
        self._ask(f"/element/{self.find(selector)}/value", {"text": text})

    def requests(self):
        """The addresses that have been asked for since the last call."""
        messages = [json.loads(entry["message"])["message"] for entry in self._ask("/se/log", {"type": "performance"})]
        return [message["params"]["request"]["url"] for message in messages
                if message["method"] == "Network.requestWillBeSent"]
