// The bottom of the page: today's figures, and how the last ten runs ended.
import { get } from "/page/api.js";
import { make, setAttribute, setText } from "/page/dom.js";
import { language, signs, word } from "/page/words.js";

const kShown = 10;

function percent(fraction) {
  return fraction === null || fraction === undefined ? "–" : `${(100 * fraction).toFixed(1)} %`;
}

/// The bottom of the page, in the two elements that it fills.
export class Summary {
  #today;
  #verdicts;
  #runs = [];
  #of = null; // the document for which the runs were asked
  #wanted = null; // and the last one that was shown
  #asking = false;
  #shown = null;

  constructor(today, verdicts) {
    this.#today = today;
    this.#verdicts = verdicts;
  }

  /// Shows the figures of the station's document, and asks for the last runs when one may have ended since.
  show(line) {
    const { today = {}, slots } = line;
    const figures = [
      [word("runs"), today.runs ?? 0, "runs"],
      ...["passed", "failed", "error"].map((verdict) => [`${signs[verdict]} ${word(verdict)}`, today[verdict] ?? 0, verdict]),
      [word("first_pass_yield"), percent(today.first_pass_yield), "first-pass-yield"],
    ];
    if (this.#today.children.length === 0) {
      this.#today.append(make("span", "label"));
      for (const [, , key] of figures) {
        const figure = make("span", "figure", make("b"), " ", make("span"));
        setAttribute(figure, "data-figure", key);
        this.#today.append(figure);
      }
    }
    setText(this.#today.firstChild, word("today"));
    figures.forEach(([text, value], at) => {
      const figure = this.#today.children[at + 1];
      setText(figure.firstChild, String(value));
      setText(figure.lastChild, text);
    });
    this.#showRuns();
    this.#wanted = JSON.stringify([today, slots.map(({ run }) => [run?.id, run?.verdict])]);
    this.#ask(slots.length);
  }

  async #ask(slots) {
    if (this.#asking || this.#of === this.#wanted) return;
    this.#asking = true;
    const of = (this.#of = this.#wanted);
    try {
      // Runs that have not ended stand among the newest: one a slot at most.
      const { runs } = await get(`/api/runs?limit=${kShown + slots}`);
      this.#runs = runs.filter(({ verdict }) => verdict).slice(0, kShown);
    } catch {
      this.#of = null; // asked again with the next document
    } finally {
      this.#asking = false;
    }
    this.#showRuns();
    if (this.#wanted !== of) this.#ask(slots);
  }

  #showRuns() {
    const made = JSON.stringify([language(), this.#runs.map(({ id }) => id)]);
    if (this.#shown === made) return;
    this.#shown = made;
    this.#verdicts.replaceChildren(
      ...this.#runs.map(({ id, serial, verdict, kind, slot }) => {
        const mark = make("span", "mark", `${signs[verdict] ?? ""} ${word(verdict)}`);
        const item = make("li", "", mark, make("span", "serial", make("bdi", "", serial)));
        const link = make("a", "", ...item.childNodes);
        link.href = `/runs/${encodeURIComponent(id)}`;
        item.append(link);
        if (kind === "check") item.append(make("span", "kind", word("check_run")));
        setAttribute(item, "data-run", id);
        setAttribute(item, "data-verdict", verdict);
        item.title = `${serial} · ${slot ?? ""}`;
        return item;
      }),
    );
  }
}
