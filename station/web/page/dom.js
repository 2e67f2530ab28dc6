// Small helpers on the document: texts are text nodes, and what has not changed is not touched.

/// A new element with a class, and a text or children.
export function make(tag, name = "", ...inside) {
  const element = document.createElement(tag);
  if (name) element.className = name;
  element.append(...inside);
  return element;
}

/// Sets an element's text.
export function setText(element, text) {
  if (element.textContent !== text) element.textContent = text;
}

/// Sets an attribute; null or false takes it away.
export function setAttribute(element, name, value) {
  if (value === null || value === undefined || value === false) element.removeAttribute(name);
  else if (element.getAttribute(name) !== String(value)) element.setAttribute(name, String(value));
}

/// Makes an element's text smaller, in four steps, until it fits into its place.
export function fit(element) {
  for (let step = 0; step <= 4; step++) {
    setAttribute(element, "data-fit", step === 0 ? null : step);
    const slack = 0.2 * parseFloat(getComputedStyle(element).fontSize); // a letter's own height is more than a line's
    if (element.scrollHeight <= element.clientHeight + slack && element.scrollWidth <= element.clientWidth + 1) return;
  }
}
