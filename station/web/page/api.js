// Requests to the station. An answer that asks for a login leads to the login page.

const kPatience = 10000; // milliseconds: a station that is frozen must not hold up the next scan for ever

/// A request that the station refused; its text is the station's reason, its status that of HTTP.
export class Refused extends Error {
  constructor(status, reason) {
    super(reason);
    this.status = status;
  }
}

/// Leads to the login page.
export function toLogin() {
  location.assign("/login");
}

async function send(method, path, body) {
  const control = new AbortController();
  const timer = setTimeout(() => control.abort(), kPatience);
  try {
    const response = await fetch(path, {
      method,
      cache: "no-store",
      headers: body === undefined ? {} : { "Content-Type": "application/json" },
      body: body === undefined ? undefined : JSON.stringify(body),
      signal: control.signal,
    });
    const answer = await response.json().catch(() => ({}));
    if (!response.ok) throw new Refused(response.status, answer.error ?? `HTTP ${response.status}`);
    return answer;
  } finally {
    clearTimeout(timer);
  }
}

async function orLogin(answer) {
  try {
    return await answer;
  } catch (error) {
    if (error instanceof Refused && error.status === 401) toLogin();
    throw error;
  }
}

/// The station's answer to a GET. Throws Refused, or another error when there was no answer.
export function get(path) {
  return orLogin(send("GET", path));
}

/// The station's answer to a POST of a JSON document; errors as with `get`.
export function post(path, body) {
  return orLogin(send("POST", path, body));
}

/// Logs in; wrong words are Refused with status 401.
export function login(name, password) {
  return send("POST", "/api/login", { name, password });
}
