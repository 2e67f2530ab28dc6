// The login page.
import { login, Refused } from "/page/api.js";
import { setText } from "/page/dom.js";
import { choose, language, onChosenElsewhere, translate, word } from "/page/words.js";

const part = (id) => document.getElementById(id);
let said = ""; // the message's key, or a text of the station's

function show() {
  translate();
  document.title = word("login_title");
  part("language").value = language();
  setText(part("message"), word(said));
}

part("language").addEventListener("change", ({ target }) => {
  choose(target.value);
  show();
});
onChosenElsewhere(show);

part("login").addEventListener("submit", async (event) => {
  event.preventDefault();
  part("submit").disabled = true;
  said = "";
  show();
  try {
    await login(part("name").value, part("password").value);
    // The station shows this page in place of one that needs a login, too.
    if (location.pathname === "/login") location.replace("/");
    else location.reload();
  } catch (error) {
    said = !(error instanceof Refused) ? "login_unreachable" : error.status === 401 ? "login_wrong" : error.message;
    part("password").value = "";
    part("password").focus();
    show();
  } finally {
    part("submit").disabled = false;
  }
});

show();
