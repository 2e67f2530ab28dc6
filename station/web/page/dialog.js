// The one dialog of the page: a question to the person at the screen, which no scan can answer.
import { setText, setAttribute } from "/page/dom.js";
import { word } from "/page/words.js";

/// A dialog, over an element <dialog> with its parts.
export class Dialog {
  #element;
  #done = null;
  #asked = null;

  constructor(element) {
    this.#element = element;
    element.addEventListener("close", () => this.#finish(null));
    element.querySelector("[data-dialog=apply]").addEventListener("click", () => {
      const { text } = this.#parts();
      if (!text.hidden && !this.#asked.empty && text.value.trim() === "") text.focus();
      else this.#finish(text.value.trim());
    });
    element.querySelector("[data-dialog=cancel]").addEventListener("click", () => this.#finish(null));
  }

  /// Asks. `key` and `values` are the question's words, `apply` the key of the button's, `text` what stands in the field
  /// (null: no field), `empty` whether it may be empty, `holds` says whether the question still makes sense. Gives the
  /// field's text ("" without one), or null when the person does not want it or it no longer makes sense.
  ask({ key, values = {}, apply, text = null, empty = false, holds = () => true }) {
    this.#finish(null);
    this.#asked = { key, values, apply, empty, holds };
    const parts = this.#parts();
    parts.text.hidden = text === null;
    parts.text.value = text ?? "";
    this.show();
    this.#element.showModal();
    (text === null ? parts.cancel : parts.text).focus();
    return new Promise((done) => (this.#done = done));
  }

  /// Writes its words anew, and closes it when its question no longer makes sense.
  show() {
    if (this.#asked === null) return;
    if (!this.#asked.holds()) {
      this.#finish(null);
      return;
    }
    const { question, apply, cancel } = this.#parts();
    setText(question, word(this.#asked.key, this.#asked.values));
    setText(apply, word(this.#asked.apply));
    setText(cancel, word("cancel"));
    setAttribute(apply, "data-asks", this.#asked.key);
  }

  #parts() {
    const part = (name) => this.#element.querySelector(`[data-dialog=${name}]`);
    return { question: part("question"), text: part("text"), apply: part("apply"), cancel: part("cancel") };
  }

  #finish(answer) {
    const done = this.#done;
    this.#done = this.#asked = null;
    if (this.#element.open) this.#element.close();
    done?.(answer);
  }
}
