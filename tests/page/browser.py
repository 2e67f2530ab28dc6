"""A real browser in front of a station: what the tests of the line's page stand on.

The page's clock is the test's: it stands still until `advance` moves it, and what the page has put off happens then.
Keys are those of a keyboard, with the times that a scanner or a person would leave between them."""
import json
import sys
import time
import unittest

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.support.ui import WebDriverWait

sys.dont_write_bytecode = True  # nothing is left beside the sources
from line_stand_in import LineStandIn  # noqa: E402

PATIENCE = 120  # seconds, against hanging only
CLOCK = """(() => {
  const later = window.setTimeout.bind(window), never = window.clearTimeout.bind(window);
  const timers = new Map();
  let now = 1000, last = 1e6;
  const put = (call, every, first, rest) => {
    timers.set(++last, { at: now + first, every, call: () => call(...rest) });
    return last;
  };
  performance.now = () => now;
  window.setTimeout = (call, ms = 0, ...rest) => (ms < 100 ? later(call, ms, ...rest) : put(call, null, ms, rest));
  window.setInterval = (call, ms, ...rest) => put(call, ms, ms, rest);
  window.clearTimeout = window.clearInterval = (id) => timers.delete(id) || never(id);
  window.advance = (ms) => {
    for (const end = now + ms; ; ) {
      const due = [...timers].filter(([, { at }]) => at <= end).sort(([, a], [, b]) => a.at - b.at)[0];
      if (!due) return void (now = end);
      const [id, timer] = due;
      now = timer.at;
      if (timer.every === null) timers.delete(id);
      else timer.at += timer.every;
      timer.call();
    }
  };
})();"""
# The pixels of a picture; no address is asked for, so that the page's policy allows it.
PIXELS = """const pixels = async (base64) => {
  const bytes = Uint8Array.from(atob(base64), (letter) => letter.charCodeAt(0));
  const picture = await createImageBitmap(new Blob([bytes], { type: "image/png" }));
  const drawing = new OffscreenCanvas(picture.width, picture.height).getContext("2d");
  drawing.drawImage(picture, 0, 0);
  return drawing.getImageData(0, 0, picture.width, picture.height);
};"""
ALONE = "delete globalThis.SharedWorker;"  # a browser that has none
SHIFTED = dict(zip('!@#$%^&*()_+{}|:"~<>?', "1234567890-=[]\\;'`,./"))
CODES = {"-": "Minus", "=": "Equal", "[": "BracketLeft", "]": "BracketRight", "\\": "Backslash", ";": "Semicolon",
         "'": "Quote", "`": "Backquote", ",": "Comma", ".": "Period", "/": "Slash", " ": "Space"}


def start_chromium(logs=("browser", "performance")):
    """`logs` are kept for who asks for them."""
    options = webdriver.ChromeOptions()
    options.binary_location = "/usr/bin/chromium"
    for option in ("--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--hide-scrollbars",
                   "--disable-background-networking", "--disable-component-update", "--disable-extensions", "--no-first-run",
                   "--font-render-hinting=none",
                   # A page in no window is a page in the background, which a busy PC would leave waiting for minutes.
                   "--disable-renderer-backgrounding", "--disable-backgrounding-occluded-windows",
                   "--disable-features=PreloadTopChromeWebUI"):
        options.add_argument(option)
    options.set_capability("goog:loggingPrefs", dict.fromkeys(logs, "ALL"))
    driver = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
    driver.set_script_timeout(PATIENCE)
    return driver


def key_of(character):
    """The code of a character's key, and whether it wants the shift key."""
    plain = SHIFTED.get(character, character.lower())
    code = f"Key{plain.upper()}" if plain.isalpha() else f"Digit{plain}" if plain.isdigit() else CODES[plain]
    return code, plain != character


class PageTest(unittest.TestCase):
    """A station, and the browser that shows its page. One browser for all tests of a class."""

    troubled = ()  # parts of console messages that a test brings about itself: a station that is gone is an error there

    @classmethod
    def setUpClass(cls):
        cls.driver = start_chromium()
        cls.addClassCleanup(cls.driver.quit)
        cls.wait_for = WebDriverWait(cls.driver, PATIENCE, poll_frequency=0.03)

    def setUp(self):
        self.line = LineStandIn()
        self.addCleanup(self.line.close)
        self.time = time.time()  # of keys; a key's own time decides, not when it arrives
        self.scripts = []
        self.driver.get_log("performance")
        self.driver.get_log("browser")

    def tearDown(self):
        """Whatever a test does: no request leaves the station, and the console stays empty."""
        for entry in self.driver.get_log("performance"):
            message = json.loads(entry["message"])["message"]
            if message["method"] == "Network.requestWillBeSent":
                url = message["params"]["request"]["url"]
                # A browser draws its own parts of a field with data: addresses, which are asked of nobody.
                self.assertTrue(url.startswith((self.line.url, "data:")), f"a request to {url}")
        messages = [entry["message"] for entry in self.driver.get_log("browser")]
        self.assertEqual([text for text in messages if not any(part in text for part in self.troubled)], [])
        for script in self.scripts:
            self.command("Page.removeScriptToEvaluateOnNewDocument", identifier=script)
        self.driver.get("about:blank")

    def command(self, name, **parameters):
        return self.driver.execute_cdp_cmd(name, parameters)

    def script(self, text, *values):
        return self.driver.execute_script(text, *values)

    def open(self, *slots, path="", language="en", scripts=(CLOCK,), size=(1280, 800), live=True, **changes):
        """The station shows these slots, and the browser its page."""
        self.line.show(*slots, language=language, **changes)
        for text in scripts:
            self.scripts.append(self.command("Page.addScriptToEvaluateOnNewDocument", source=text)["identifier"])
        self.resize(*size)
        self.driver.get(self.line.url + path)
        if live:
            self.until_live()

    def until_live(self):
        self.until(lambda: self.connection() == "live" and self.script("return document.fonts.status") == "loaded")

    def resize(self, width, height):
        self.command("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1, mobile=False)

    def show(self, *slots, **changes):
        """The station shows something else; waits until the page does. Each document has a number of its own."""
        number = self.line.document.get("central", {}).get("behind", 0) + 1
        self.line.show(*slots, **{"central": {"state": "connected", "behind": number}, **changes})
        self.until(lambda: str(number) in self.text("#central"))

    def until(self, condition):
        return self.wait_for.until(lambda _: condition())

    def advance(self, milliseconds):
        """Moves the page's clock."""
        self.script("advance(arguments[0])", milliseconds)

    def later(self, milliseconds):
        """Moves the page's clock while the station goes on ticking."""
        self.advance(milliseconds)
        self.until_live()

    def connection(self):
        return self.script("return document.body.dataset.connection")

    def find(self, selector):
        return self.driver.find_element(By.CSS_SELECTOR, selector)

    def text(self, selector):
        """What a person reads there; nothing when it is not shown."""
        return self.script("return document.querySelector(arguments[0])?.innerText ?? ''", selector).strip()

    def count(self, selector):
        return self.script("return document.querySelectorAll(arguments[0]).length", selector)

    def shown(self, selector):
        return self.script("return document.querySelector(arguments[0])?.checkVisibility({checkVisibilityCSS: true}) ?? false",
                           selector)

    def attribute(self, slot, name):
        return self.script("return document.querySelector(`[data-slot='${arguments[0]}']`).getAttribute(arguments[1])",
                           slot, name)

    def click(self, selector):
        self.find(selector).click()

    def message(self, text):
        """Waits until the message has this text."""
        self.until(lambda: text in self.text("#message"))

    # --- keys

    def key(self, code, key, text="", shift=False, after=0.005, virtual=0):
        """A key is pressed, so many seconds behind the one before."""
        self.time += after
        common = {"code": code, "key": key, "modifiers": 8 if shift else 0, "windowsVirtualKeyCode": virtual,
                  "timestamp": self.time}
        self.command("Input.dispatchKeyEvent", type="keyDown" if text else "rawKeyDown", text=text, **common)
        if key in ("Enter", " "):  # what a button waits for; nothing on the page waits for another key
            self.command("Input.dispatchKeyEvent", type="keyUp", **common)

    def type(self, text, after=0.005):
        """Types characters at a scanner's pace, or at another."""
        for character in text:
            code, shift = key_of(character)
            self.key(code, character, character, shift, after, ord(character.upper()) if character.isalnum() else 0)

    def enter(self):
        self.key("Enter", "Enter", "\r", virtual=13)

    def scan(self, text):
        """The scanner reads a label."""
        self.type(text)
        self.enter()

    def asked(self, path=None):
        """What the station has been asked to do, of one path."""
        return [body for asked, body in self.line.asked if path in (None, asked)]

    def scanned(self):
        return [body["text"] for body in self.asked("/api/scan")]

    def nothing_else_happens(self, *scans):
        """Whatever was put off has happened; the station has heard these scans, and the next label, and nothing else."""
        self.later(60000)
        self.scan("MARK")
        self.until(lambda: "MARK" in self.scanned())
        self.assertEqual(self.scanned(), [*scans, "MARK"])
        self.assertEqual(len(self.line.asked), len(scans) + 1)

    # --- what is seen

    def most_colour(self):
        """How far apart the channels of a pixel are, of the most coloured one on the screen."""
        picture = self.command("Page.captureScreenshot", format="png")["data"]
        return self.driver.execute_async_script(PIXELS + """
          const [picture, done] = arguments;
          pixels(picture).then(({ data }) => {
            let most = 0;
            for (let at = 0; at < data.length; at += 4) {
              const [red, green, blue] = data.subarray(at, at + 3);
              most = Math.max(most, Math.max(red, green, blue) - Math.min(red, green, blue));
            }
            done(most);
          });""", picture)

    def measure(self, selector):
        """Where the elements are, and how their texts look."""
        return self.script("""
          return Array.from(document.querySelectorAll(arguments[0]), (element) => {
            const { x, y, width, height, right, bottom } = element.getBoundingClientRect();
            const style = getComputedStyle(element);
            const drawing = document.createElement("canvas").getContext("2d");
            drawing.font = `${style.fontWeight} ${style.fontSize} ${style.fontFamily}`;
            const digits = drawing.measureText("0").actualBoundingBoxAscent;
            return { x, y, width, height, right, bottom, digits, text: element.innerText, color: style.color };
          })""", selector)
