"""A headless browser for tests of pages, spoken to in its own protocol through two pipes. Nothing but
the standard library is needed, and the program of the Debian package chromium-headless-shell."""
import base64
import fcntl
import json
import os
import pathlib
import shutil
import signal
import subprocess
import tempfile

PROGRAM = "chromium-headless-shell"
# What the browser reads and writes by; it knows them by these numbers.
COMMANDS, ANSWERS = 3, 4
TIME_LIMIT = 120


def is_installed():
    return shutil.which(PROGRAM) is not None


class Browser:
    """One browser with one page. Everything that the page asks the network for is in `requests`, and
    what it says on its console, errors included, in `console`."""

    def __init__(self):
        self.profile = tempfile.TemporaryDirectory(ignore_cleanup_errors=True)
        theirs_in, self.out = os.pipe()
        self.into, theirs_out = os.pipe()
        # Above the numbers that they get, so that none overwrites another.
        spare = [fcntl.fcntl(end, fcntl.F_DUPFD, 50) for end in (theirs_in, theirs_out)]

        def take_places():
            os.dup2(spare[0], COMMANDS)
            os.dup2(spare[1], ANSWERS)

        self.process = subprocess.Popen(
            [PROGRAM, "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--hide-scrollbars",
             "--no-first-run", f"--user-data-dir={self.profile.name}", "--remote-debugging-pipe",
             "about:blank"],
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
            pass_fds=(COMMANDS, ANSWERS), preexec_fn=take_places)
        for end in (theirs_in, theirs_out, *spare):
            os.close(end)
        signal.alarm(TIME_LIMIT)  # a browser that hangs fails the test
        self.unread = b""
        self.number = 0
        self.session = None
        self.loaded = False
        self.requests, self.console = [], []
        target = next(each for each in self.ask("Target.getTargets")["targetInfos"]
                      if each["type"] == "page")
        self.session = self.ask("Target.attachToTarget", targetId=target["targetId"],
                                flatten=True)["sessionId"]
        for domain in ("Page", "Runtime", "Network", "Log"):
            self.ask(domain + ".enable")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        signal.alarm(0)
        self.process.kill()
        self.process.wait()
        os.close(self.out)
        os.close(self.into)
        self.profile.cleanup()

    def receive(self):
        while b"\0" not in self.unread:
            more = os.read(self.into, 1 << 16)
            if not more:
                raise RuntimeError("the browser has ended")
            self.unread += more
        message, self.unread = self.unread.split(b"\0", 1)
        message = json.loads(message)
        self.note(message.get("method"), message.get("params"))
        return message

    def note(self, event, facts):
        if event == "Page.loadEventFired":
            self.loaded = True
        elif event == "Network.requestWillBeSent":
            self.requests.append(facts["request"]["url"])
        elif event == "Runtime.exceptionThrown":
            self.console.append(facts["exceptionDetails"]["text"])
        elif event == "Log.entryAdded":
            self.console.append(facts["entry"]["text"])

    def ask(self, method, **parameters):
        """The answer to a command of the protocol."""
        self.number += 1
        message = {"id": self.number, "method": method, "params": parameters}
        if self.session:
            message["sessionId"] = self.session
        rest = json.dumps(message).encode() + b"\0"
        while rest:
            rest = rest[os.write(self.out, rest):]
        while True:
            answer = self.receive()
            if answer.get("id") == self.number:
                if "error" in answer:
                    raise RuntimeError(f"{method}: {answer['error']['message']}")
                return answer["result"]

    def size(self, width, height):
        self.ask("Emulation.setDeviceMetricsOverride", width=width, height=height,
                 deviceScaleFactor=1, mobile=False)

    def medium(self, name="screen", scheme="light"):
        """The page as on paper ("print"), or in a "dark" scheme."""
        self.ask("Emulation.setEmulatedMedia", media=name,
                 features=[{"name": "prefers-color-scheme", "value": scheme}])

    def scripts(self, are_run):
        self.ask("Emulation.setScriptExecutionDisabled", value=not are_run)

    def open(self, path, fragment=""):
        self.requests, self.console, self.loaded = [], [], False
        self.ask("Page.navigate", url="about:blank")
        while not self.loaded:
            self.receive()
        self.requests, self.console, self.loaded = [], [], False
        self.ask("Page.navigate", url=pathlib.Path(path).resolve().as_uri() + fragment)
        while not self.loaded:
            self.receive()

    def value(self, expression):
        """What the expression comes to in the page."""
        answer = self.ask("Runtime.evaluate", expression=expression, returnByValue=True,
                          awaitPromise=True)
        if "exceptionDetails" in answer:
            raise RuntimeError(answer["exceptionDetails"]["exception"].get("description", expression))
        return answer["result"].get("value")

    def click(self, selector):
        """A click of the mouse on the middle of the element, whatever lies there."""
        place = self.value("""(element => {
            element.scrollIntoView({block: 'center', behavior: 'instant'});
            const box = element.getBoundingClientRect();
            return [box.x + box.width / 2, box.y + box.height / 2];
        })(document.querySelector(%s))""" % json.dumps(selector))
        for event in ("mousePressed", "mouseReleased"):
            self.ask("Input.dispatchMouseEvent", type=event, x=place[0], y=place[1], button="left",
                     clickCount=1)

    def press(self, key, text=""):
        """A key of the keyboard: "Tab", "Enter", or a letter with itself as text."""
        codes = {"Tab": 9, "Enter": 13}
        fields = {"key": key, "windowsVirtualKeyCode": codes.get(key, ord(key[0].upper()))}
        self.ask("Input.dispatchKeyEvent", type="keyDown", text=text, **fields)
        self.ask("Input.dispatchKeyEvent", type="keyUp", **fields)

    def type(self, text):
        for letter in text:
            self.press(letter, letter)

    def screenshot(self, path):
        image = self.ask("Page.captureScreenshot", format="png", captureBeyondViewport=True)
        pathlib.Path(path).write_bytes(base64.b64decode(image["data"]))
