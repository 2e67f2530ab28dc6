// The operator's page: shows what the station says, and takes what the person at it wants.
import { get, post, Refused, toLogin } from "/page/api.js";
import { listen } from "/page/connection.js";
import { Dialog } from "/page/dialog.js";
import { setAttribute, setText } from "/page/dom.js";
import { Keyboard } from "/page/keyboard.js";
import { Summary } from "/page/summary.js";
import { mustBeAcknowledged, questionOf, Tile } from "/page/tile.js";
import { reasonIn } from "/page/reasons.js";
import { choose, language, onChosenElsewhere, stationLanguage, translate, word } from "/page/words.js";

const kOperator = "operator";
const kToRepair = "to repair, until it is released"; // how the refusal of a unit ends that an engineer may release
const part = (id) => document.getElementById(id);

let line = null; // the station's last document
let heard = { time: NaN, at: 0 }; // the station's clock, and when it was read
let session = { name: null, role: "operator" }; // until the station has said who is here
let operator = sessionStorage.getItem(kOperator) ?? "";
let message = { key: "", values: {}, kind: "" };
let scans = Promise.resolve(); // one behind the other: slot:NAME must arrive before what follows it
const tiles = new Map();
const dialog = new Dialog(part("dialog"));
const summary = new Summary(part("today"), part("verdicts"));

const may = () => ({ work: session.role !== "viewer", lock: session.role === "engineer" });
const slotNow = (name) => line?.slots.find((slot) => slot.name === name);
const person = () => (session.name === null && operator !== "" ? { operator } : {});

// --- What is shown

function say(kind, key, values = {}) {
  message = { kind, key, values };
  showMessage();
}

function showMessage() {
  const values = { ...message.values };
  if (values.answer) values.answer = word(values.answer);
  if (values.reason) values.reason = reasonIn(language(), values.reason);
  setText(part("message"), message.key === "" ? "" : word(message.key, values));
  setAttribute(part("message"), "data-kind", message.kind);
  setText(part("release"), word("release", { serial: message.values.text ?? "" }));
  part("release").hidden = !(isToRepair() && may().lock);
}

// Whether the last scan was refused because its unit must be released first.
const isToRepair = () => message.key === "refused" && message.values.reason.endsWith(kToRepair);

// The question that a typed or scanned answer goes to: the station says which slot asked first.
function firstQuestion() {
  const asking = (line?.slots ?? []).filter((slot) => questionOf(slot) !== null);
  const first = asking.find(({ answers }) => answers) ?? asking[0];
  return first ? questionOf(first) : null;
}

function showTiles() {
  const { slots } = line;
  const names = slots.map(({ name }) => name);
  for (const name of tiles.keys()) if (!names.includes(name)) tiles.delete(name);
  for (const name of names) {
    if (!tiles.has(name)) tiles.set(name, new Tile({ answer, acknowledge, stop, lock, unlock }));
  }
  const elements = names.map((name) => tiles.get(name).element);
  const place = part("slots");
  if (elements.length !== place.children.length || elements.some((element, at) => place.children[at] !== element)) {
    place.replaceChildren(...elements);
  }
  const columns = slots.length <= 2 ? slots.length : slots.length <= 4 ? 2 : slots.length <= 6 ? 3 : 4;
  place.style.setProperty("--columns", String(columns));
  place.style.setProperty("--rows", String(Math.min(Math.ceil(slots.length / columns), 3)));
  const first = firstQuestion();
  for (const slot of slots) tiles.get(slot.name).show(slot, may(), first?.slot === slot.name);
  showTimes();
}

function showTimes() {
  if (!watch.live || line === null) return;
  const now = heard.time + performance.now() - heard.at;
  for (const { name, state, run } of line.slots) {
    let elapsed = null;
    if (state === "waiting" || state === "testing") elapsed = run ? (now - Date.parse(run.started)) / 1000 : null;
    else if (Number.isFinite(run?.seconds)) elapsed = run.seconds;
    tiles.get(name).time(Number.isFinite(elapsed) ? elapsed : null);
  }
}

function showTop() {
  document.title = line ? `${line.station} · ${word("title")}` : word("title");
  setText(part("station"), line?.station ?? "");
  part("language").value = language();
  const fact = (id, text, state) => {
    setText(part(id).querySelector("b"), text);
    setAttribute(part(id), "data-state", state);
  };
  fact("connection", word(watch.live ? "live" : "lost"), watch.live ? "ok" : "trouble");
  fact("operator", session.name ?? (operator || word("operator_none")), null);
  const records = line?.records ?? "ok";
  fact("records", word(records === "ok" ? "ok" : "trouble"), records === "ok" ? "ok" : "trouble");
  setText(part("records-banner"), records === "ok" ? "" : word("records_banner", { reason: reasonIn(language(), records) }));
  part("records-banner").hidden = records === "ok";
  const { state = "off", behind = 0 } = line?.central ?? {};
  const late = behind > 0 ? ` · ${word("behind", { count: behind })}` : "";
  fact("central", word(`central_${state}`) + late, state === "waiting" ? "waiting" : "ok");
  part("logout").hidden = session.name === null;
  part("scan").disabled = !may().work;
}

function show() {
  translate();
  showTop();
  showMessage();
  dialog.show();
  if (line === null) return;
  showTiles();
  summary.show(line);
}

// --- What the person wants

function refused(text, error) {
  if (error instanceof Refused) say("refused", "refused", { text, reason: error.message });
  else say("refused", "unanswered", { text });
}

/// Sends what was asked for of a slot, and says how it went.
async function send(slot, what, body, key, values = {}) {
  try {
    await post(`/api/slots/${encodeURIComponent(slot)}/${what}`, { ...body, ...person() });
    say("taken", key, { slot, ...values });
  } catch (error) {
    refused(`${word(what)} ${slot}`.trim(), error);
  }
}

async function scanned(text) {
  say("sent", "scan_sent", { text });
  try {
    const { slot, run } = await post("/api/scan", { text, ...person() });
    const answered = /^answer:(yes|no)$/i.exec(text)?.[1].toLowerCase();
    if (answered && slot) say("taken", "answered", { slot, answer: answered });
    else if (/^slot:/i.test(text)) say("taken", "next_named", { slot });
    else if (run) say("taken", "scan_taken", { text, slot });
    else say("taken", "scan_done", { text });
  } catch (error) {
    refused(text, error);
  }
}

// A card with acknowledge:NAME, or acknowledge where only one slot waits, serves a station without a mouse. A verdict that
// need not be acknowledged may be, so that its unit can be tested again.
function acknowledgeScanned(name) {
  const waiting = (line?.slots ?? []).filter(mustBeAcknowledged);
  const named = slotNow(name);
  const slot = name === undefined ? waiting[0] : named?.state === "done" ? named : undefined;
  if (name === undefined && waiting.length > 1) {
    say("refused", "acknowledge_several", { slots: waiting.map((each) => each.name).join(", ") });
    return undefined;
  }
  if (!slot) {
    say("refused", "acknowledge_none");
    return undefined;
  }
  return acknowledge(slot);
}

// Sends what was scanned, unless it may not be; a scan that has waited for another one may have become late.
function sendScan(text) {
  const card = /^acknowledge(?::(.*))?$/i.exec(text);
  if (!watch.live) say("refused", "refused_lost", { text });
  else if (!may().work) say("refused", "refused_role", { text });
  else return card ? acknowledgeScanned(card[1]) : scanned(text);
  return undefined;
}

function scan(text) {
  scans = scans.then(() => sendScan(text));
}

function answer(question, yes) {
  const asked = slotNow(question.slot);
  if (!watch.live || !asked || questionOf(asked)?.id !== question.id) {
    say("refused", "question_gone");
    return;
  }
  const given = yes ? "yes" : "no";
  send(question.slot, "answer", { answer: given }, "answered", { answer: given });
}

function acknowledge({ name }) {
  return send(name, "acknowledge", {}, "acknowledged");
}

async function stop({ name, run }) {
  const same = () => watch.live && ["waiting", "testing"].includes(slotNow(name)?.state) && slotNow(name).run?.id === run?.id;
  const wanted = await dialog.ask({
    key: "stop_ask", values: { slot: name, serial: run?.serial ?? "" }, apply: "stop", holds: same,
  });
  if (wanted !== null) await send(name, "stop", {}, "done");
}

async function lockOrUnlock({ name, state }, what) {
  const same = () => watch.live && (slotNow(name)?.state === "locked") === (state === "locked");
  const reason = await dialog.ask({ key: `${what}_ask`, values: { slot: name }, apply: what, text: "", holds: same });
  if (reason !== null) await send(name, what, { reason }, "done");
}

const lock = (slot) => lockOrUnlock(slot, "lock");
const unlock = (slot) => lockOrUnlock(slot, "unlock");

async function release() {
  const { text } = message.values;
  const same = () => watch.live && isToRepair() && message.values.text === text;
  const reason = await dialog.ask({ key: "release_ask", values: { serial: text }, apply: "release_unit", text: "", holds: same });
  if (reason === null) return;
  try {
    await post(`/api/units/${encodeURIComponent(text)}/release`, { reason, ...person() });
    say("taken", "released", { serial: text });
  } catch (error) {
    refused(text, error);
  }
}

async function askOperator() {
  if (session.name !== null) return; // who is logged in is known
  const name = await dialog.ask({ key: "operator_ask", apply: "apply", text: operator, empty: true });
  if (name === null) return;
  operator = name;
  sessionStorage.setItem(kOperator, operator);
  show();
}

function chooseLanguage(chosen) {
  choose(chosen);
  show();
}

// --- What happens

const watch = listen({
  line(document_, age) {
    line = document_;
    heard = { time: Date.parse(line.time), at: performance.now() - age };
    stationLanguage(line.language);
    show();
  },
  tick(time) {
    heard = { time: Date.parse(time), at: performance.now() };
    showTimes();
  },
  login: toLogin,
  changed(live) {
    document.body.dataset.connection = live ? "live" : "lost";
    if (live) loadSession();
    show();
  },
});

async function loadSession() {
  try {
    session = await get("/api/session");
  } catch {
    return; // the next connection asks again
  }
  show();
}

new Keyboard(part("scan"), { scan, answer, question: () => (watch.live && may().work ? firstQuestion() : null) });

// The list of languages is never opened, since an open list would swallow a scan: a click takes the other language.
part("language").addEventListener("mousedown", (event) => {
  if (!event.isTrusted) return;
  event.preventDefault();
  const values = Array.from(part("language").options, ({ value }) => value);
  chooseLanguage(values[(values.indexOf(language()) + 1) % values.length]);
});
part("language").addEventListener("change", ({ target }) => chooseLanguage(target.value));
part("operator").addEventListener("click", askOperator);
part("release").addEventListener("click", release);
part("logout").addEventListener("click", () => post("/api/logout", {}).then(toLogin, (error) => refused(word("logout"), error)));
onChosenElsewhere(show);
addEventListener("resize", () => tiles.forEach((tile) => tile.fit()));
setInterval(showTimes, 250);
show();
