// Whether what the page shows is what the station says: the stream of events, and the watch over its ticks.
import { openSource } from "/page/source.js";

const kSilence = 2500; // milliseconds without a tick, which comes every second
const kCheck = 250;

/// Tells whether the station is heard. Live begins with a whole document, never with something remembered.
export class Watch {
  #now;
  #changed;
  #known = false; // a document has come on the connection that is open
  #heard = -Infinity;
  #live = false;

  /// `now` gives milliseconds of a clock that nobody sets; `changed` is called with true (live) or false (lost).
  constructor(now, changed) {
    this.#now = now;
    this.#changed = changed;
  }

  /// Something came, `age` milliseconds ago; `whole` when it was a document.
  heard(whole, age = 0) {
    this.#known ||= whole;
    this.#heard = this.#now() - age;
    this.check();
  }

  /// The connection has ended.
  gone() {
    this.#known = false;
    this.check();
  }

  /// Whether the station is heard now.
  get live() {
    return this.#live;
  }

  /// Looks at the clock.
  check() {
    const live = this.#known && this.#now() - this.#heard <= kSilence;
    if (live === this.#live) return;
    this.#live = live;
    this.#changed(live);
  }
}

/// Listens to the station: `line(document)` and `tick(time)` as they come, `login()` when it wants a login,
/// `changed(live)` as the connection comes and goes. Returns the watch.
export function listen({ line, tick, login, changed }) {
  const watch = new Watch(() => performance.now(), changed);
  const told = (event) => {
    if ("line" in event) {
      line(event.line, event.age ?? 0);
      watch.heard(true, event.age);
    } else if ("tick" in event) {
      tick(event.tick);
      watch.heard(false);
    } else if ("gone" in event) {
      watch.gone();
    } else if ("login" in event) {
      login();
    }
  };
  if ("SharedWorker" in globalThis) {
    const worker = new SharedWorker("/page/shared_source.js", { type: "module" });
    worker.addEventListener("error", () => openSource(told), { once: true }); // it cannot be had: one of our own
    worker.port.onmessage = ({ data }) => told(data);
    addEventListener("pagehide", () => worker.port.postMessage("closing"));
  } else {
    openSource(told);
  }
  addEventListener("pageshow", ({ persisted }) => persisted && location.reload());
  document.addEventListener("visibilitychange", () => watch.check());
  setInterval(() => watch.check(), kCheck);
  return watch;
}
