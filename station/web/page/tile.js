// One tile: what the station says of one slot. Nothing here remembers what it said before.
import { fit, make, setAttribute, setText } from "/page/dom.js";
import { reasonIn } from "/page/reasons.js";
import { language, signs, word } from "/page/words.js";

/// Whether a slot's verdict waits for a person.
export function mustBeAcknowledged({ state, run }) {
  return state === "done" && Boolean(run?.verdict) && run.verdict !== "passed";
}

/// What names a slot's open question: that of one attempt of one step of one run. Null without one.
export function questionOf(slot) {
  const { name, run } = slot;
  return run?.question ? { slot: name, id: JSON.stringify([run.id, run.index, run.attempt]) } : null;
}

/// Seconds as they are shown.
export function seconds(value) {
  return word("seconds", { seconds: Math.max(0, Math.floor(value)) });
}

function number(value, unit) {
  return unit ? `${value} ${unit}` : String(value);
}

function limits({ low, high }) {
  if (low !== null && low !== undefined) {
    return high !== null && high !== undefined ? word("limits", { low, high }) : word("limit_low", { low });
  }
  return high !== null && high !== undefined ? word("limit_high", { high }) : "";
}

function measurement(found) {
  const { name, value, unit, outcome } = found;
  const measured = value === null || value === undefined ? word("not_found") : word("measured", { value: number(value, unit) });
  const parts = [measured, limits(found)];
  if (outcome === "low" || outcome === "high") parts.push(word(outcome));
  const line = make("li", "measurement", `${name}: ${parts.filter(Boolean).join(" · ")}`);
  setAttribute(line, "data-outcome", outcome);
  return line;
}

function failure(failed) {
  const item = make("li", "failure");
  setAttribute(item, "data-failed-step", failed.step);
  const title = make("div", "failed-step", make("b", "", failed.step));
  const outcome = Object.hasOwn(signs, failed.outcome) ? failed.outcome : "error";
  title.append(make("span", "outcome", `${signs[outcome]} ${word(`outcome_${failed.outcome}`)}`));
  if (failed.attempt && failed.attempts) {
    title.append(make("span", "attempts", word("attempt_of", { number: failed.attempt, total: failed.attempts })));
  }
  item.append(title);
  if (failed.description) item.append(make("div", "words", reasonIn(language(), failed.description)));
  const measured = failed.measurements ?? [];
  if (measured.length > 0) item.append(make("ul", "", ...measured.map(measurement)));
  return item;
}

// Whether the failures below say already what the verdict's reason says: a failed run's always do.
function isInFailures(reason, run) {
  const failures = run?.verdict ? (run.failures ?? []) : [];
  const isSaid = ({ description }) => Boolean(description) && reason?.includes(description);
  return failures.length > 0 && (run.verdict === "failed" || failures.some(isSaid));
}

/// The tile of a slot. `actions` are called with the slot as it was shown: answer(question, yes), acknowledge(slot),
/// stop(slot), lock(slot), unlock(slot).
export class Tile {
  /// The element.
  element = make("article", "tile");
  #actions;
  #slot = null;
  #asked = null; // the question that is shown
  #shown = {}; // what the parts that are made anew were made from
  #name = make("span", "name");
  #serial = make("span", "serial");
  #state = make("div", "state");
  #sign = make("span", "sign");
  #word = make("span", "word");
  #retried = make("span", "retried");
  #reason = make("div", "reason");
  #progress = make("div", "progress");
  #step = make("b", "step");
  #count = make("span", "count");
  #bar = make("progress");
  #seconds = make("span", "seconds");
  #question = make("div", "question-place");
  #failures = make("ul", "failures");
  #needed = make("div", "needed");
  #next = make("span", "next");
  #plan = make("span", "plan");
  #took = make("span", "took");
  #report = make("a", "plain report");
  #stop = make("button", "plain stop");
  #lock = make("button", "plain lock");

  constructor(actions) {
    this.#actions = actions;
    this.#state.append(this.#sign, this.#word, this.#retried);
    this.#progress.append(make("div", "step-line", this.#step, this.#count, this.#seconds), this.#bar);
    const head = make("header", "", this.#name, this.#serial);
    const body = make("div", "body", this.#state, this.#reason, this.#progress, this.#question, this.#failures);
    const foot = make("footer", "", this.#next, this.#plan, this.#took, this.#report, this.#lock, this.#stop);
    this.element.append(head, body, this.#needed, foot);
    for (const button of [this.#stop, this.#lock]) button.type = "button";
    this.#stop.addEventListener("click", () => actions.stop(this.#slot));
    this.#lock.addEventListener("click", () => {
      if (this.#slot.state === "locked") actions.unlock(this.#slot);
      else actions.lock(this.#slot);
    });
  }

  /// Shows a slot of the station's document. `may` has `work` and `lock`: what this person may do; `answers` says that a
  /// scanned answer goes here.
  show(slot, may, answers) {
    this.#slot = slot;
    const { state, run } = slot;
    const { element } = this;
    setAttribute(element, "data-slot", slot.name);
    setAttribute(element, "data-state", state);
    setAttribute(element, "data-verdict", run?.verdict);
    setAttribute(element, "data-serial", run?.serial);
    setAttribute(element, "data-step", run?.step);
    setAttribute(element, "data-next", slot.next ? "true" : null);
    setAttribute(element, "data-answers", answers ? "true" : null);
    setAttribute(element, "data-failures", run?.failures?.length || null);
    setText(this.#name, slot.name);
    setText(this.#serial, run?.serial ?? "");
    this.#showState(slot);
    this.#showProgress(slot);
    this.#showQuestion(slot, may);
    this.#showFailures(run?.failures ?? []);
    this.#showNeeded(slot, may);
    this.#showFoot(slot, may);
    this.fit();
  }

  /// Shows the seconds that the run has taken; null: not known, or nothing to count.
  time(elapsed) {
    const text = elapsed === null ? "" : seconds(elapsed);
    const runs = this.#slot?.state !== "done";
    setText(this.#seconds, runs ? text : "");
    setText(this.#took, runs ? "" : text);
  }

  /// Makes texts smaller where they do not fit.
  fit() {
    const { clientWidth, clientHeight } = this.element;
    const { name, state, reason, run } = this.#slot;
    const shown = [name, run?.serial, state, run?.verdict, run?.retried, run?.step, run?.question, run?.failures, reason];
    const made = JSON.stringify([...shown, language(), clientWidth, clientHeight]);
    if (this.#shown.fitted === made) return; // measuring costs: not ten times a second for nothing
    this.#shown.fitted = made;
    fit(this.#name);
    fit(this.#serial);
    fit(this.#word);
    const question = this.#question.querySelector(".question");
    if (question) fit(question);
  }

  #showState({ state, run, reason }) {
    const verdict = state === "done" ? run?.verdict : null;
    setText(this.#sign, verdict ? signs[verdict] ?? "" : "");
    setText(this.#word, word(verdict ?? state));
    setText(this.#retried, run?.retried ? word("retried") : "");
    setText(this.#reason, isInFailures(reason, run) ? "" : reasonIn(language(), reason ?? ""));
  }

  #showProgress({ state, run }) {
    const runs = (state === "testing" || state === "waiting") && run !== null;
    this.#progress.hidden = !runs;
    this.#bar.hidden = state === "waiting";
    if (!runs) return;
    setText(this.#step, state === "testing" ? run.step ?? "" : "");
    const known = state === "testing" && Number.isInteger(run.index) && run.total > 0;
    const count = known ? [word("step", { number: run.index + 1, total: run.total })] : [];
    if (run.attempt > 1) count.push(word("attempt", { number: run.attempt }));
    setText(this.#count, count.join(" · "));
    setAttribute(this.#bar, "max", known ? run.total : 1);
    setAttribute(this.#bar, "value", known ? run.index : 0);
  }

  // Each question has elements of its own: a click that was meant for the one before reaches nothing.
  #showQuestion(slot, may) {
    const question = questionOf(slot);
    setAttribute(this.element, "data-asks", question ? "true" : null);
    if (question?.id !== this.#asked) {
      this.#asked = question?.id ?? null;
      this.#question.replaceChildren();
      if (question !== null) {
        const place = make("div", "", make("div", "question"), make("div", "mark"), make("div", "buttons"));
        setAttribute(place, "data-question", "");
        for (const answer of ["yes", "no"]) {
          const button = make("button", answer, make("span"), make("kbd", "", answer === "yes" ? "Y" : "N"));
          button.type = "button";
          setAttribute(button, "data-answer", answer);
          button.addEventListener("click", () => this.#actions.answer(question, answer === "yes"));
          place.querySelector(".buttons").append(button);
        }
        this.#question.append(place);
      }
    }
    if (question === null) return;
    const { question: texts } = slot.run;
    setText(this.#question.querySelector(".question"), texts[language()] ?? texts.zh ?? texts.en ?? "");
    setText(this.#question.querySelector(".mark"), this.element.dataset.answers ? word("question_first") : "");
    for (const button of this.#question.querySelectorAll("button")) {
      setText(button.firstChild, word(button.dataset.answer));
      button.hidden = !may.work;
    }
  }

  #showFailures(failures) {
    const made = JSON.stringify([language(), failures]);
    if (this.#shown.failures === made) return;
    this.#shown.failures = made;
    this.#failures.replaceChildren(...failures.map(failure));
  }

  #showNeeded(slot, may) {
    const needed = mustBeAcknowledged(slot);
    const made = JSON.stringify([needed && slot.run.id, may.work]);
    if (this.#shown.needed !== made) {
      this.#shown.needed = made;
      this.#needed.replaceChildren();
      if (needed && may.work) {
        const button = make("button", "acknowledge");
        button.type = "button";
        setAttribute(button, "data-acknowledge", "");
        button.addEventListener("click", () => this.#actions.acknowledge(slot));
        this.#needed.append(button);
      }
      if (needed) this.#needed.append(make("span", "text"));
    }
    for (const part of this.#needed.children) {
      setText(part, word(part.className === "text" ? "acknowledge_needed" : "acknowledge"));
    }
  }

  #showFoot({ next, plan, state, run }, may) {
    const ended = state === "done" && Boolean(run?.verdict);
    this.#report.hidden = !ended;
    setAttribute(this.#report, "href", ended ? `/runs/${encodeURIComponent(run.id)}` : null);
    setText(this.#report, word("report"));
    setText(this.#next, next ? word("next") : "");
    setText(this.#plan, plan ? `${plan.name} ${plan.version}` : "");
    setText(this.#stop, word("stop"));
    setText(this.#lock, word(state === "locked" ? "unlock" : "lock"));
    this.#stop.hidden = !may.work || !["waiting", "testing"].includes(state);
    this.#lock.hidden = !may.lock;
  }
}
