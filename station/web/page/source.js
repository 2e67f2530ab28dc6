// The station's stream of events, opened again whenever it ends or falls silent.

const kSilence = 5000; // milliseconds without a tick after which a connection is given up
const kPause = 1000; // milliseconds between attempts

/// Opens the stream and tells what comes: {line: DOCUMENT}, {tick: TIME}, {gone: true} when the connection ended,
/// {login: true} when the station wants a login. After `gone` the first thing told is a line.
export function openSource(tell) {
  let source = null;
  let heard = 0;
  let waiting = false;

  function open() {
    waiting = false;
    heard = performance.now();
    const own = (source = new EventSource("/api/events"));
    const on = (kind, told) =>
      own.addEventListener(kind, (event) => {
        if (own !== source) return;
        heard = performance.now();
        tell(told(JSON.parse(event.data)));
      });
    on("line", (line) => ({ line }));
    on("tick", ({ time }) => ({ tick: time }));
    own.addEventListener("error", () => {
      if (own !== source) return;
      again();
      askForLogin();
    });
  }

  function again() {
    if (waiting) return;
    waiting = true;
    source.close();
    source = null;
    tell({ gone: true });
    setTimeout(open, kPause);
  }

  // An event source does not say with which status it was refused.
  async function askForLogin() {
    try {
      const { status } = await fetch("/api/session", { cache: "no-store", signal: AbortSignal.timeout(kSilence) });
      if (status === 401) tell({ login: true });
    } catch {
      // nobody there: the next attempt will see
    }
  }

  setInterval(() => {
    if (!waiting && performance.now() - heard > kSilence) again();
  }, kPause);
  open();
}
