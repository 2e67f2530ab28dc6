// Times of the station, which are UTC, in the time zone of the browser; each has the offset that its own day had.

const two = (number) => String(number).padStart(2, "0");

function parts(date) {
  const day = `${date.getFullYear()}-${two(date.getMonth() + 1)}-${two(date.getDate())}`;
  return { day, time: `${two(date.getHours())}:${two(date.getMinutes())}:${two(date.getSeconds())}` };
}

function offset(date) {
  const minutes = -date.getTimezoneOffset();
  const size = Math.abs(minutes);
  return `UTC${minutes < 0 ? "−" : "+"}${Math.floor(size / 60)}${size % 60 ? `:${two(size % 60)}` : ""}`;
}

/// A time as people read it: where clocks stand, and how far they are from UTC.
export function timeText(utc) {
  const date = new Date(utc);
  if (Number.isNaN(date.getTime())) return utc;
  const { day, time } = parts(date);
  return `${day} ${time} ${offset(date)}`;
}

/// A time as a field of type datetime-local has it; empty for an empty one.
export function fieldOf(utc) {
  const date = new Date(utc);
  if (Number.isNaN(date.getTime())) return "";
  const { day, time } = parts(date);
  return `${day}T${time}`.replace(/:00$/, "");
}

/// The station's time for what stands in such a field; empty for an empty one. Of an hour that clocks show twice it is the
/// first.
export function timeOf(field) {
  const date = new Date(field);
  return Number.isNaN(date.getTime()) ? "" : date.toISOString();
}

/// The midnight, on the browser's clock, with which the day so many days before `now` began.
export function localDay(now, days) {
  return new Date(now.getFullYear(), now.getMonth(), now.getDate() - days).toISOString();
}

/// The browser's time zone, for example "Asia/Shanghai (UTC+8)".
export function zoneText(now) {
  return `${Intl.DateTimeFormat().resolvedOptions().timeZone} (${offset(now)})`;
}
