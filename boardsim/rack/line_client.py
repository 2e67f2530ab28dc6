"""A line as its operator sees it: over HTTP."""
import asyncio
import http.client
import json
import threading

QUIET = 10  # seconds without a word on the stream of events, on which something is said each second
TRY_AGAIN = 0.2  # seconds between two tries to reach a line that is gone


class Refused(Exception):
    """The line does not do what was asked; the text is its reason."""


class LineClient:
    """Knows what the line shows, and does what an operator may. `host` is HOST:PORT. To be made in a running event loop."""

    def __init__(self, host, operator):
        self.host, self.operator = host, operator
        self.line = None  # the newest document; None while the line cannot be reached
        self.seen = 0  # how often the line was reached
        self.loop = asyncio.get_running_loop()
        self.news = asyncio.Condition()
        self.is_closed = False
        threading.Thread(target=self._follow, daemon=True).start()

    def close(self):
        self.is_closed = True

    def slot(self, name):
        """A slot as it is shown; None while the line cannot be reached."""
        return next((slot for slot in self.line["slots"] if slot["name"] == name), None) if self.line else None

    async def until(self, is_so):
        """Waits until `is_so()`, which is asked whenever something has changed. Returns what it said."""
        async with self.news:
            return await self.news.wait_for(is_so)

    async def scan(self, serial, slot):
        """The id of the run that begins. Raises Refused, and OSError when the line cannot be reached."""
        return (await self._post("/api/scan", {"text": serial, "slot": slot}))["run"]

    async def stored(self, run):
        """A run as the records have it. Raises OSError when the line cannot be reached."""
        return await asyncio.to_thread(self._ask, "GET", f"/api/runs/{run}")

    async def acknowledge(self, slot):
        await self._post(f"/api/slots/{slot}/acknowledge", {})

    async def unlock(self, slot, reason):
        """Raises Refused when it is not locked, or only by what a person cannot change."""
        await self._post(f"/api/slots/{slot}/unlock", {"reason": reason})

    async def _post(self, path, body):
        return await asyncio.to_thread(self._ask, "POST", path, {**body, "operator": self.operator})

    def _ask(self, method, path, body=None):
        connection = http.client.HTTPConnection(self.host, timeout=QUIET)
        try:
            connection.request(method, path, body and json.dumps(body), {"Content-Type": "application/json"} if body else {})
            answer = connection.getresponse()
            document = json.loads(answer.read())
        except http.client.HTTPException as error:
            raise ConnectionError(str(error)) from error
        finally:
            connection.close()
        if answer.status != 200:
            raise Refused(document["error"])
        return document

    def _follow(self):
        """A thread of its own: reads the stream of events, again and again."""
        pause = threading.Event()
        while not self.is_closed:
            connection = http.client.HTTPConnection(self.host, timeout=QUIET)
            try:
                connection.request("GET", "/api/events")
                self._read(connection.getresponse())
            except (OSError, http.client.HTTPException, ValueError):
                pass  # it is gone
            finally:
                connection.close()
            self._tell(None)
            pause.wait(TRY_AGAIN)

    def _read(self, stream):
        event = ""
        is_first = True
        for line in stream:
            word, _, value = line.decode().rstrip("\n").partition(": ")
            if word == "event":
                event = value
            elif word == "data" and event == "line":
                self._tell(json.loads(value), is_first)
                is_first = False

    def _tell(self, line, is_first=False):
        taking = self._take(line, is_first)
        try:
            asyncio.run_coroutine_threadsafe(taking, self.loop)
        except RuntimeError:  # the event loop has ended
            taking.close()

    async def _take(self, line, is_first):
        async with self.news:
            self.line = line
            self.seen += is_first
            self.news.notify_all()
