// The keyboard, which mostly is a scanner: a fast typist that ends with Enter and looks at nothing.
//
// Every character on the page belongs to the scan field, wherever the focus is, so that a scan never presses a button
// and never is lost. A key answers a question, or presses the button that has the focus, only when it comes alone:
// nothing typed before it, no other key for a while behind it.

const kAlone = 700; // milliseconds of quiet behind a key that is meant by itself
const kScannersPace = 80; // milliseconds between two characters of a scanner at most
const kByHand = 10000; // milliseconds that a person who has clicked into the field may think about the next key
const kAway = 3000; // milliseconds without a key after which the focus comes back from elsewhere
const kShortestScan = 4; // characters that look like a scan in a field that is not the scan field

const kShifted = {
  Digit1: "!", Digit2: "@", Digit3: "#", Digit4: "$", Digit5: "%", Digit6: "^", Digit7: "&", Digit8: "*", Digit9: "(",
  Digit0: ")",
};
const kSigns = {
  Space: "  ", Minus: "-_", Equal: "=+", BracketLeft: "[{", BracketRight: "]}", Backslash: "\\|", Semicolon: ";:",
  Quote: "'\"", Backquote: "`~", Comma: ",<", Period: ".>", Slash: "/?", NumpadDivide: "//", NumpadMultiply: "**",
  NumpadSubtract: "--", NumpadAdd: "++", NumpadDecimal: "..",
};

/// The character of a key. With an input method on, or letters of another script, it is the one that a scanner means:
/// that of the key's place on a US keyboard. Null for keys without a character.
export function character(event) {
  if (/^[ -~]$/.test(event.key) && !event.isComposing) return event.key;
  if (event.key.length > 1 && event.key !== "Process" && event.key !== "Unidentified" && event.key !== "Dead") return null;
  const { code, shiftKey } = event;
  if (/^Key[A-Z]$/.test(code)) {
    return shiftKey !== event.getModifierState("CapsLock") ? code[3] : code[3].toLowerCase();
  }
  if (/^Digit\d$/.test(code)) return shiftKey ? kShifted[code] : code[5];
  if (/^Numpad\d$/.test(code)) return code[6];
  return kSigns[code]?.[shiftKey ? 1 : 0] ?? null;
}

function isEnter(event) {
  return event.key === "Enter" || event.code === "Enter" || event.code === "NumpadEnter";
}

function takesText(element) {
  return element instanceof HTMLInputElement || element instanceof HTMLTextAreaElement;
}

/// Listens to the keyboard for the scan field.
export class Keyboard {
  #field;
  #options;
  #typed = ""; // what the scan field holds, without what an input method composes in it
  #composes = false; // an input method has had the last key, and will make something of it that nobody wants
  #byHand = -Infinity; // when a person last touched the field, to type there: then no key answers by itself
  #away = null; // the timer that brings the focus back
  #alone = null; // the timer of a key that may be meant by itself
  #burst = null; // what was typed at a scanner's pace into another field

  /// `field` is the scan field. Called are `scan(text)` at the end of a scan, `question()` for what Y and N would answer
  /// now (null: nothing), and `answer(question, yes)` when one of them came alone.
  constructor(field, options) {
    this.#field = field;
    this.#options = options;
    addEventListener("keydown", (event) => this.#key(event), true);
    field.addEventListener("input", (event) => this.#input(event));
    field.addEventListener("compositionend", () => (field.value = this.#typed));
    field.addEventListener("pointerdown", () => (this.#byHand = performance.now()));
    document.addEventListener("focusout", () => setTimeout(() => document.activeElement === document.body && this.focus()));
    document.addEventListener("focusin", () => this.#comeBack());
    document.addEventListener("click", () => this.focus());
    addEventListener("focus", () => this.focus());
    this.focus();
  }

  /// Gives the focus to the scan field, unless a dialog or a list is open.
  focus() {
    if (document.activeElement !== this.#field && !document.querySelector("dialog[open]")) {
      this.#field.focus({ preventScroll: true });
    }
  }

  #comeBack() {
    clearTimeout(this.#away);
    this.#away = setTimeout(() => this.focus(), kAway);
  }

  get #typesByHand() {
    return performance.now() - this.#byHand < kByHand;
  }

  #input(event) {
    const kind = event.inputType ?? "";
    const composed = event.isComposing || /Composition/.test(kind) || (this.#composes && kind === "insertText");
    if (composed) this.#field.value = this.#typed;
    else this.#typed = this.#field.value;
    this.#notAlone();
  }

  #key(event) {
    this.#notAlone();
    this.#comeBack();
    if (this.#typesByHand) this.#byHand = performance.now();
    if (event.ctrlKey || event.altKey || event.metaKey) return;
    const { target } = event;
    if (takesText(target) && target !== this.#field) {
      this.#inAnotherField(event);
    } else if (isEnter(event)) {
      event.preventDefault();
      if (this.#typed !== "") this.#end();
      else this.#press(event);
    } else if (event.key === "Escape") {
      if (!document.querySelector("dialog[open]")) this.#set("");
    } else {
      const typed = character(event);
      if (typed === null) return;
      event.preventDefault();
      this.#composes = event.key === "Process" || event.isComposing;
      if (event.repeat) return;
      if (typed === " " && this.#typed === "") this.#press(event);
      else this.#type(typed);
    }
  }

  #set(text) {
    this.#field.value = this.#typed = text;
  }

  #type(typed) {
    const field = this.#field;
    const first = this.#typed === "";
    field.value = this.#typed; // without what is being composed
    if (document.activeElement === field) field.setRangeText(typed, field.selectionStart, field.selectionEnd, "end");
    else field.setRangeText(typed, field.value.length, field.value.length, "end");
    this.#typed = field.value;
    this.focus();
    if (first && /^[yn]$/i.test(typed)) this.#mayAnswer(typed);
  }

  #end() {
    const text = this.#typed.trim();
    this.#set("");
    this.#byHand = -Infinity;
    const question = /^[yn]$/i.test(text) && !document.querySelector("dialog[open]") ? this.#options.question() : null;
    if (question !== null) this.#options.answer(question, /y/i.test(text));
    else if (text !== "") this.#options.scan(text);
  }

  #mayAnswer(typed) {
    const question = this.#options.question();
    if (question === null || this.#typesByHand || document.querySelector("dialog[open]")) return;
    this.#whenAlone(() => {
      if (this.#typed !== typed) return;
      this.#set("");
      this.#options.answer(question, /y/i.test(typed));
    });
  }

  // Space or Enter on a button that has the focus, with nothing typed: pressed when nothing follows.
  #press(event) {
    const button = event.target;
    if (!(button instanceof HTMLElement) || !button.matches("button, a") || event.repeat) return;
    this.#whenAlone(() => document.activeElement === button && button.click());
  }

  #whenAlone(then) {
    const now = () => {
      this.#alone = null;
      if (navigator.scheduling?.isInputPending?.()) this.#whenAlone(then); // a busy PC: the next key waits already
      else then();
    };
    this.#alone = setTimeout(now, kAlone);
  }

  #notAlone() {
    clearTimeout(this.#alone);
    this.#alone = null;
  }

  // A field of a dialog: a person types there, with an input method if he likes; a scan that comes meanwhile is taken out
  // of it again. Enter never closes the dialog, for a scanner ends with it.
  #inAnotherField(event) {
    const field = event.target;
    if (isEnter(event)) {
      event.preventDefault();
      const burst = this.#burst;
      this.#burst = null;
      if (!burst || burst.field !== field || burst.text.length < kShortestScan) return;
      if (event.timeStamp - burst.last > kScannersPace) return;
      field.value = burst.before;
      if (burst.text.trim() !== "") this.#options.scan(burst.text.trim());
      return;
    }
    const typed = character(event);
    if (typed === null) return;
    const follows = this.#burst?.field === field && event.timeStamp - this.#burst.last <= kScannersPace;
    if (!follows) this.#burst = { field, text: "", before: field.value };
    this.#burst.text += typed;
    this.#burst.last = event.timeStamp;
  }
}
