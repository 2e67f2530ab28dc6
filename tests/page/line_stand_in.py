"""A station that serves the line's page and says what it is told to say, with every trouble that a page can have with its
station: it refuses, freezes, is cut off, dies and comes back, and asks for a login."""
import copy
import datetime
import http.server
import json
import pathlib
import queue
import socket
import threading
import urllib.parse

PAGE = pathlib.Path(__file__).resolve().parents[2] / "station" / "web" / "page"
TYPES = {".html": "text/html; charset=utf-8", ".css": "text/css; charset=utf-8", ".js": "text/javascript; charset=utf-8",
         ".svg": "image/svg+xml", ".json": "application/json"}
HEADERS = {
    "Content-Security-Policy": "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; img-src 'self'; "
                               "worker-src 'self'; base-uri 'none'; form-action 'self'; frame-ancestors 'none'",
    "X-Content-Type-Options": "nosniff", "Referrer-Policy": "no-referrer", "Cache-Control": "no-store"}
START = datetime.datetime(2026, 11, 22, 3, 17, tzinfo=datetime.timezone.utc)


def moment(seconds):
    """So many seconds after the station's start, as the station writes times."""
    return (START + datetime.timedelta(seconds=seconds)).isoformat(timespec="milliseconds").replace("+00:00", "Z")


def run(number, serial=None, **changes):
    """A run as the station's document has it: in its second step of five unless told otherwise."""
    return {"id": f"01935-{number:04}", "serial": serial or f"AB{number:08}", "started": moment(0), "verdict": None,
            "retried": False, "step": "rs485", "index": 1, "total": 5, "attempt": 1, "question": None, "failures": [],
            **changes}


def slot(name, state="idle", run=None, **changes):
    """A slot as the station's document has it; a scanned answer goes to one slot at most."""
    return {"name": name, "state": state, "next": False, "answers": False, "reason": None, "plan": {"name": "main-board", "version": "3"},
            "run": run, **changes}


def failure(step="temperature", outcome="failed", description="温度超出范围", attempt=2, attempts=2, measurements=None):
    """A step that did not pass, with a measurement unless told otherwise."""
    if measurements is None:
        measurements = [{"name": "temperature", "value": 63.5, "unit": "degC", "low": 10.0, "high": 60.0, "outcome": "high"}]
    return {"step": step, "outcome": outcome, "description": description, "attempt": attempt, "attempts": attempts,
            "measurements": measurements}


def ended(number, verdict, **changes):
    """A run as the list of runs has it."""
    return {"id": f"01934-{number:04}", "serial": f"AB{number:08}", "kind": "production", "slot": "1", "verdict": verdict,
            "retried": 0, "started": moment(-60), "ended": moment(-30), **changes}


class LineStandIn:
    """The station. What it was asked to do is in `asked`: pairs of path and body."""

    def __init__(self):
        self.document = {
            "station": "ICT-3", "time": moment(0), "records": "ok", "central": {"state": "off", "behind": 0},
            "today": {"runs": 0, "passed": 0, "failed": 0, "error": 0, "first_pass_yield": None}, "slots": [slot("1")]}
        self.runs = []
        self.session = {"name": None, "role": "engineer"}
        self.password = None  # with one, everything wants a login
        self.logged_in = False
        self.asked, self.paths, self.answers, self.now = [], [], {}, 0
        self.frozen = threading.Event()
        self.frozen.set()  # set: it answers
        self.lock = threading.Lock()
        self.streams, self.connections = set(), set()
        self.server, self.port, self.ended = None, 0, threading.Event()
        self.come_back()
        threading.Thread(target=self._tick_for_ever, daemon=True).start()

    @property
    def url(self):
        return f"http://127.0.0.1:{self.port}/"

    def show(self, *slots, **changes):
        """The document changes: all slots when some are given, and the keys named."""
        with self.lock:
            if slots:
                self.document["slots"] = copy.deepcopy(list(slots))
            self.document.update(copy.deepcopy(changes))
            self._send("line")

    def at(self, seconds):
        """The station's clock is so many seconds after its start."""
        with self.lock:
            self.now = seconds
            self._send("tick")

    def answer(self, path, status, body):
        """How a path is answered from now on; as ever again when status is None."""
        if status is None:
            self.answers.pop(path, None)
        else:
            self.answers[path] = (status, body)

    def freeze(self):
        """Nothing is sent or answered; connections stay."""
        self.frozen.clear()

    def thaw(self):
        self.frozen.set()

    def die(self):
        """The process is gone: connections end, new ones are refused."""
        server, self.server = self.server, None
        server.shutdown()
        server.server_close()
        with self.lock:
            for connection in self.connections:
                try:
                    connection.shutdown(socket.SHUT_RDWR)
                except OSError:
                    pass  # it has ended by itself
            for stream in self.streams:
                stream.put(None)

    def come_back(self):
        """It serves, at the address that it had before."""
        self.server = Server(("127.0.0.1", self.port), self)
        self.port = self.server.server_address[1]
        threading.Thread(target=self.server.serve_forever, kwargs={"poll_interval": 0.02}, daemon=True).start()

    def close(self):
        self.ended.set()
        self.thaw()
        if self.server:
            self.die()

    def _tick_for_ever(self):
        while not self.ended.wait(1):
            with self.lock:
                self._send("tick")

    def _send(self, *kinds):
        self.document["time"] = moment(self.now)
        for kind in kinds if self.frozen.is_set() else ():
            for stream in self.streams:
                stream.put(self._event(kind))

    def _event(self, kind):
        data = self.document if kind == "line" else {"time": moment(self.now)}
        return f"event: {kind}\ndata: {json.dumps(data)}\n\n".encode()


class Server(http.server.ThreadingHTTPServer):
    daemon_threads = True
    allow_reuse_address = True
    request_queue_size = 64

    def __init__(self, address, line):
        self.line = line
        super().__init__(address, Handler)

    def handle_error(self, request, client_address):
        pass  # a browser that goes away is no error


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    disable_nagle_algorithm = True

    def setup(self):
        super().setup()
        self.line = self.server.line
        with self.line.lock:
            self.line.connections.add(self.connection)

    def finish(self):
        with self.line.lock:
            self.line.connections.discard(self.connection)
        super().finish()

    def log_message(self, *args):
        pass

    def reply(self, status, body, media_type="application/json; charset=utf-8"):
        data = body if isinstance(body, bytes) else json.dumps(body).encode()
        self.send_response(status)
        for name, value in {**HEADERS, "Content-Type": media_type, "Content-Length": len(data)}.items():
            self.send_header(name, str(value))
        if self.path == "/api/login" and status == 200:
            self.send_header("Set-Cookie", "session=1; HttpOnly; SameSite=Strict; Path=/")
        self.end_headers()
        self.wfile.write(data)

    def do_GET(self):
        self.line.frozen.wait()
        path = urllib.parse.urlsplit(self.path).path
        self.line.paths.append(self.path)
        files = {"/": "index.html", "/login": "login.html"}
        name = files.get(path) or (path.removeprefix("/page/") if path.startswith("/page/") else None)
        if self.line.password is not None and not self.line.logged_in and path.startswith("/api/"):
            self.reply(401, {"error": "log in first"})
        elif name is not None and (PAGE / name).is_file():
            self.reply(200, (PAGE / name).read_bytes(), TYPES[pathlib.Path(name).suffix])
        elif path in self.line.answers:
            self.reply(*self.line.answers[path])
        elif path == "/api/line":
            self.reply(200, self.line.document)
        elif path == "/api/session":
            self.reply(200, self.line.session)
        elif path == "/api/runs":
            limit = int(dict(urllib.parse.parse_qsl(urllib.parse.urlsplit(self.path).query)).get("limit", 100))
            self.reply(200, {"runs": self.line.runs[:limit]})
        elif path == "/api/events":
            self.stream()
        else:
            self.reply(404, {"error": "no such page"})

    def stream(self):
        self.send_response(200)
        for name, value in {**HEADERS, "Content-Type": "text/event-stream"}.items():
            self.send_header(name, value)
        self.send_header("Connection", "close")
        self.end_headers()
        events = queue.Queue()
        with self.line.lock:
            events.put(self.line._event("line"))
            self.line.streams.add(events)
        try:
            while (event := events.get()) is not None:
                self.line.frozen.wait()
                self.wfile.write(event)
        except OSError:
            pass  # the browser has gone
        finally:
            with self.line.lock:
                self.line.streams.discard(events)
        self.close_connection = True

    def do_POST(self):
        self.line.frozen.wait()
        length = int(self.headers.get("Content-Length", 0))
        body = json.loads(self.rfile.read(length) or b"{}")
        if self.headers.get("Content-Type") != "application/json":
            self.reply(415, {"error": "not JSON"})
            return
        if self.path == "/api/login":
            self.line.logged_in = body.get("password") == self.line.password
            self.reply(*((200, self.line.session) if self.line.logged_in else (401, {"error": "wrong name or password"})))
            return
        if self.line.password is not None and not self.line.logged_in:
            self.reply(401, {"error": "log in first"})
            return
        self.line.asked.append((self.path, body))
        if self.path == "/api/logout":
            self.line.logged_in = False
        if self.path in self.line.answers:
            self.reply(*self.line.answers[self.path])
        elif self.path == "/api/scan":
            slot_named = body["text"].startswith("slot:")
            answer = {"slot": body["text"][5:]} if slot_named else {"slot": self.line.document["slots"][0]["name"], "run": "01936-0001"}
            self.reply(200, answer)
        else:
            self.reply(200, {})
