// The engineer's pages: the browser's time zone, the language, and the window that is asked for. All else is the station's.
import { setText } from "/page/dom.js";
import { choose, language, onChosenElsewhere, stationLanguage } from "/page/words.js";
import { fieldOf, localDay, timeOf, timeText, zoneText } from "/page/times.js";

const kShown = document.documentElement.dataset.language;
const part = (id) => document.getElementById(id);

// This page in another language, or with another window.
function go(changes, replaces = false) {
  const address = new URL(location.href);
  for (const [name, value] of Object.entries(changes)) address.searchParams.set(name, value);
  if (replaces) location.replace(address);
  else location.assign(address);
}

function showLanguage() {
  if (language() !== kShown) go({ language: language() }, true);
}

function showTimes() {
  for (const element of document.querySelectorAll("time[datetime]")) {
    setText(element, timeText(element.dateTime));
    element.title = element.dateTime;
  }
}

// What stands in a field, as a time of the station's: what nobody has touched stays what it was, to the thousandth.
function asked(field) {
  return field.value === fieldOf(field.dataset.utc) ? field.dataset.utc : timeOf(field.value);
}

function prepareWindow(form) {
  const [from, to, plan, batch] = ["from", "to", "plan", "batch"].map(part);
  for (const field of [from, to]) field.value = fieldOf(field.dataset.utc);
  setText(part("zone"), zoneText(new Date()));
  form.addEventListener("submit", (event) => {
    event.preventDefault();
    go({ from: asked(from), to: asked(to), plan: plan.value, batch: batch.value.trim() });
  });
  for (const button of form.querySelectorAll("[data-days]")) {
    const { days } = button.dataset;
    button.addEventListener("click", () => {
      go({ from: days === "all" ? "" : localDay(new Date(), Number(days)), to: "", plan: plan.value, batch: batch.value.trim() });
    });
  }
}

// The next page comes when its figures are there: until then this one says so.
function showReading(isReading) {
  document.body.dataset.reading = isReading;
}

stationLanguage(kShown);
showLanguage();
showTimes();
if (part("window")) prepareWindow(part("window"));
part("language").addEventListener("change", ({ target }) => {
  choose(target.value);
  showLanguage();
});
onChosenElsewhere(showLanguage);
addEventListener("beforeunload", () => showReading(true));
addEventListener("pageshow", () => showReading(false));
document.body.dataset.ready = "true";
