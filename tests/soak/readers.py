"""Who looks at a line while it works: streams of events that stay open, and a round of all pages behind each unit."""
import asyncio
import collections
import datetime
import http.client
import json
import re

from line_client import LineClient

STREAMS = 3
PATIENCE = 300  # seconds, against hanging only
WINDOW = 40  # units, of which figures are asked for: those of more take more, as they should


class Readers:
    """`findings` are answers that were none, in words."""

    def __init__(self, host):
        """`host` is HOST:PORT. To be made in a running event loop."""
        self.host = host
        self.streams = [LineClient(host, "reader") for _ in range(STREAMS)]
        self.ended = collections.deque(maxlen=WINDOW)  # when the last units had ended
        self.findings = []

    def close(self):
        for stream in self.streams:
            stream.close()

    async def look(self, run):
        """What a plant's people and tools ask for now and then; `run` is one that has ended."""
        self.ended.append(f"{datetime.datetime.now(datetime.UTC):%Y-%m-%dT%H:%M:%S.000Z}")
        since = f"from={self.ended[0]}"
        for path in ("/api/line", f"/api/runs?limit=100&{since}", f"/api/runs/{run}", f"/api/stats?{since}", f"/results?{since}",
                     f"/runs?{since}", f"/runs/{run}", "/healthz", "/api/events"):
            await self.ask(path)

    async def open_streams(self):
        """How many the station has, by its own account."""
        found = re.search(r"^boardtest_streams (\d+)$", await self.ask("/metrics"), re.M)
        return int(found[1]) if found else None

    async def ask(self, path):
        """The answer; of a stream of events its first document, before it is left."""
        return await asyncio.to_thread(self._ask, path)

    def _ask(self, path):
        connection = http.client.HTTPConnection(self.host, timeout=PATIENCE)
        try:
            connection.request("GET", path)
            answer = connection.getresponse()
            text = (answer.readline() if path == "/api/events" else answer.read()).decode()
            if path.startswith("/api/") and path != "/api/events":
                json.loads(text)
            if answer.status != 200 or not text:
                self.findings.append(f"{path} is answered with {answer.status}: {text}")
            return text
        except (OSError, http.client.HTTPException, ValueError) as error:
            self.findings.append(f"{path} is not answered: {error}")
            return ""
        finally:
            connection.close()
