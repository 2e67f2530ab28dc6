// Users of a line: who may ask what, and what sessions survive.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/station/web_users.h"

namespace {

using namespace web_users;
using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

class WebLoginTest : public testing::Test {
 protected:
  void SetUp() override {
    give_users(line_, kViewer + kOperator + kEngineer);
    line_.start();
  }
  /// Another content of the users' file, as an editor or `users add` writes it.
  void rewrite_users(const std::string& text) {
    const std::string other = line_.directory.file("users.new");
    records_support::write(other, text);
    std::filesystem::rename(other, line_.file.users_file);
  }
  std::string session(const std::string& name, const std::string& password) {
    const WebReply reply = log_in(line_, name, password);
    EXPECT_EQ(reply.status, 200) << name;
    return session_of(reply);
  }
  std::string engineer() { return session("Ente", "engineer-password"); }
  int status(const std::string& session, const std::string& target = "/api/line") {
    return line_.get(target, session).status;
  }
  std::string events() {
    std::string lines;
    for (const std::string& event : records_support::column(
             line_.file.records,
             "SELECT kind || ' ' || coalesce(operator, '-') || ' ' || coalesce(detail, '') "
             "FROM event ORDER BY sequence")) {
      lines += event + "\n";
    }
    return lines;
  }

  WebLine line_;
};

/// A request, and the status of its answer for nobody, a viewer, an operator and an engineer.
struct Right {
  const char *method, *target, *body;
  int nobody, viewer, operator_, engineer;
};

constexpr Right kRights[] = {
    {"GET", "/", "", 401, 200, 200, 200},
    {"GET", "/login", "", 200, 200, 200, 200},
    {"GET", "/page/line.js", "", 401, 200, 200, 200},
    {"GET", "/page/login.js", "", 200, 200, 200, 200},
    {"GET", "/healthz", "", 200, 200, 200, 200},
    {"GET", "/metrics", "", 200, 200, 200, 200},
    {"GET", "/api/line", "", 401, 200, 200, 200},
    {"HEAD", "/api/events", "", 401, 200, 200, 200},
    {"GET", "/api/session", "", 401, 200, 200, 200},
    {"GET", "/api/runs", "", 401, 200, 200, 200},
    {"GET", "/api/runs/x", "", 401, 404, 404, 404},
    {"GET", "/api/stats", "", 401, 200, 200, 200},
    {"POST", "/api/scan", "{\"text\": \"X\"}", 401, 403, 409, 409},
    {"POST", "/api/slots/1/stop", "{}", 401, 403, 409, 409},
    {"POST", "/api/slots/1/acknowledge", "{}", 401, 403, 409, 409},
    {"POST", "/api/slots/1/answer", "{\"answer\": \"no\"}", 401, 403, 409, 409},
    {"POST", "/api/slots/1/unlock", "{\"reason\": \"x\"}", 401, 403, 403, 409},
    {"POST", "/api/slots/9/lock", "{\"reason\": \"x\"}", 401, 403, 403, 404},
    {"POST", "/api/units/AB00000009/release", "{\"reason\": \"x\"}", 401, 403, 403, 404},
    {"GET", "/nothing", "", 404, 404, 404, 404},
};

TEST_F(WebLoginTest, EachRoleMayAskWhatItMayAndNothingElse) {
  const std::string viewer = session("Vera", "viewer-password"), worker = session("Wu", "operator-password"),
                    engineer = this->engineer();
  for (const Right& right : kRights) {
    const auto asked_by = [&](const std::string& who) {
      return ask(line_.port(), right.method, right.target, right.body, who).status;
    };
    const std::string what = std::string(right.method) + " " + right.target;
    EXPECT_EQ(asked_by(""), right.nobody) << what;
    EXPECT_EQ(asked_by("Cookie: session-" + line_.port() + "=" + std::string(64, '0') + "\r\n"), right.nobody)
        << what;
    EXPECT_EQ(asked_by(viewer), right.viewer) << what;
    EXPECT_EQ(asked_by(worker), right.operator_) << what;
    EXPECT_EQ(asked_by(engineer), right.engineer) << what;
  }
}

TEST_F(WebLoginTest, WithoutALoginThePagesAddressShowsTheLoginPage) {
  EXPECT_EQ(line_.get("/").body, line_.get("/login").body);
  EXPECT_THAT(line_.get("/page/line.js").body, HasSubstr("{\"error\":"));
}

TEST_F(WebLoginTest, TheCookieIsForThisServersPagesOnly) {
  const WebReply reply = log_in(line_, "Wu", "operator-password");
  EXPECT_EQ(json::parse(reply.body), (json{{"name", "Wu"}, {"role", "operator"}}));
  EXPECT_THAT(reply.field("set-cookie"),
              testing::MatchesRegex("session-" + line_.port() +
                                    "=[0-9a-f]{64}; Path=/; Max-Age=86400; HttpOnly; SameSite=Strict"));
  EXPECT_EQ(json::parse(line_.get("/api/session", session_of(reply)).body),
            (json{{"name", "Wu"}, {"role", "operator"}}));
}

TEST_F(WebLoginTest, WhoIsLoggedInIsTheOperatorWhateverTheBodySays) {
  const WebReply scanned = line_.post("/api/scan", R"({"text": "AB00000001", "operator": "Ente"})",
                                      session("Wu", "operator-password"));
  const std::string run = json::parse(scanned.body)["run"];
  EXPECT_EQ(json::parse(line_.get("/api/runs/" + run, engineer()).body)["operator"], "Wu");
}

TEST_F(WebLoginTest, LoginsAndStateChangesAreEventsWithTheUsersName) {
  const std::string engineer = this->engineer();
  log_in(line_, "Mallory", "guess-guess");
  EXPECT_EQ(line_.post("/api/slots/1/lock", R"({"reason": "x"})", engineer).status, 200);
  EXPECT_EQ(line_.post("/api/logout", "{}", engineer).status, 200);
  EXPECT_THAT(events(), HasSubstr("login Ente {\"address\":\"127.0.0.1\"}\n"));
  EXPECT_THAT(events(), HasSubstr("login_failed - {\"name\":\"Mallory\",\"address\":\"127.0.0.1\"}\n"));
  EXPECT_THAT(events(), HasSubstr("lock Ente {\"reason\":\"x\"}\n"));
  EXPECT_THAT(events(), HasSubstr("logout Ente {\"address\":\"127.0.0.1\"}\n"));
  EXPECT_THAT(events(), Not(HasSubstr("password")));
}

TEST_F(WebLoginTest, AWrongPasswordAndAnUnknownNameAreToldInTheSameWords) {
  const WebReply wrong = log_in(line_, "Wu", "operator-passwort"), unknown = log_in(line_, "Who", "x");
  EXPECT_EQ(wrong.status, 401);
  EXPECT_EQ(unknown.status, 401);
  EXPECT_EQ(wrong.body, unknown.body);
  EXPECT_EQ(wrong.field("set-cookie"), "");
  EXPECT_EQ(log_in(line_, "", "").status, 401);
  EXPECT_EQ(log_in(line_, "Wu", std::string(2000, 'x')).status, 401);
  EXPECT_EQ(log_in(line_, "wu", "operator-password").status, 401);
}

TEST_F(WebLoginTest, GuessingIsSlowedDownForThatNameOnly) {
  for (int i = 0; i < 3; ++i) EXPECT_EQ(log_in(line_, "Wu", "guess").status, 401);
  const WebReply refused = log_in(line_, "Wu", "operator-password");
  EXPECT_EQ(refused.status, 409);
  EXPECT_EQ(refused.field("retry-after"), "1");
  EXPECT_EQ(log_in(line_, "Vera", "viewer-password").status, 200);
  double pause = 1;
  for (int i = 0; i < 7; ++i) {
    line_.pass(pause - 0.5);
    EXPECT_EQ(log_in(line_, "Wu", "guess").status, 409) << i;
    line_.pass(0.5);
    EXPECT_EQ(log_in(line_, "Wu", "guess").status, 401) << i;
    pause = std::min(2 * pause, 60.0);
  }
  line_.pass(60);
  EXPECT_EQ(log_in(line_, "Wu", "operator-password").status, 200);
  EXPECT_EQ(log_in(line_, "Wu", "guess").status, 401);  // counted from the start again
}

TEST_F(WebLoginTest, AnAddressThatTriesManyNamesIsSlowedDownForAllOfThem) {
  for (int i = 0; i < 20; ++i) EXPECT_EQ(log_in(line_, "name" + std::to_string(i), "guess").status, 401);
  EXPECT_EQ(log_in(line_, "another", "guess").status, 409);
  line_.pass(1);
  EXPECT_EQ(log_in(line_, "another", "guess").status, 401);
}

TEST_F(WebLoginTest, ASessionThatSomebodyFixedBeforehandIsWorthNothing) {
  const std::string fixed = "Cookie: session-" + line_.port() + "=" + std::string(64, 'a') + "\r\n";
  const WebReply reply = log_in(line_, "Wu", "operator-password", fixed);
  EXPECT_EQ(reply.status, 200);
  EXPECT_THAT(session_of(reply), Not(HasSubstr("aaaa")));
  EXPECT_EQ(status(fixed), 401);
}

TEST_F(WebLoginTest, ALoginEndsTheSessionBefore) {
  const std::string first = engineer();
  const WebReply again = log_in(line_, "Ente", "engineer-password", first);
  EXPECT_EQ(status(first), 401);
  EXPECT_EQ(status(session_of(again)), 200);
}

TEST_F(WebLoginTest, AGuessedOrDamagedSessionIsNone) {
  const std::string good = engineer();
  const std::string name = "session-" + line_.port();
  const std::vector<std::string> cookies{name + "=",
                                         name + "=" + std::string(64, '0'),
                                         name + "=%00",
                                         "session=" + good.substr(good.find('=') + 1),
                                         "x" + good.substr(8, good.size() - 10),
                                         name,
                                         name + "=" + std::string(9000, 'f'),
                                         ";;=;"};
  for (const std::string& cookie : cookies) {
    EXPECT_EQ(status("Cookie: " + cookie + "\r\n"), 401) << cookie;
  }
  EXPECT_EQ(status(good.substr(0, good.size() - 3) + "\r\n"), 401);
  EXPECT_EQ(status("Cookie: a=b; " + good.substr(8, good.size() - 10) + "; c=d\r\n"), 200);
}

TEST_F(WebLoginTest, AStolenSessionEndsWithItsOwnersLogout) {
  const std::string session = engineer();
  const WebReply out = line_.post("/api/logout", "{}", session);
  EXPECT_EQ(out.body, "{}");
  EXPECT_THAT(out.field("set-cookie"), HasSubstr("=; Path=/; Max-Age=0;"));
  EXPECT_EQ(status(session), 401);
  EXPECT_EQ(line_.post("/api/logout", "{}", session).status, 200);
}

TEST_F(WebLoginTest, ASessionEndsAfterTwelveHoursWithoutUseAndAfterADayInAnyCase) {
  const std::string unused = engineer(), used = engineer();
  line_.pass(11.9 * 3600);
  EXPECT_EQ(status(used), 200);
  line_.pass(0.2 * 3600);
  EXPECT_EQ(status(unused), 401);
  EXPECT_EQ(status(used), 200);
  line_.pass(11.8 * 3600);
  EXPECT_EQ(status(used), 200);
  line_.pass(0.2 * 3600);
  EXPECT_EQ(status(used), 401);
}

TEST_F(WebLoginTest, WhoIsTakenOutOfTheFileOrGetsAnotherPasswordLosesTheSession) {
  const std::string engineer = this->engineer(), worker = session("Wu", "operator-password"),
                    viewer = session("Vera", "viewer-password");
  rewrite_users(kViewer + kEngineerAnew);
  EXPECT_EQ(status(worker), 401);
  EXPECT_EQ(status(engineer), 401);
  EXPECT_EQ(status(viewer), 200);
  EXPECT_EQ(log_in(line_, "Ente", "engineer-password").status, 401);
  EXPECT_EQ(log_in(line_, "Ente", "other-password").status, 200);
}

TEST_F(WebLoginTest, AnotherRoleCountsAtOnce) {
  const std::string engineer = this->engineer();
  std::string demoted = kEngineer;
  demoted.replace(demoted.find("engineer"), 8, "viewer");
  rewrite_users(demoted);
  EXPECT_EQ(line_.post("/api/slots/1/lock", R"({"reason": "x"})", engineer).status, 403);
}

TEST_F(WebLoginTest, AUsersFileThatGoesBadLeavesTheUsersAsTheyWereAndIsAnEvent) {
  const std::string engineer = this->engineer();
  rewrite_users("[[user]\n");
  EXPECT_EQ(status(engineer), 200);
  EXPECT_EQ(log_in(line_, "Vera", "viewer-password").status, 200);
  line_.stop();
  EXPECT_THAT(events(), HasSubstr("users_file - {\"trouble\":"));
}

TEST_F(WebLoginTest, AStreamEndsWithItsSession) {
  const std::string session = engineer();
  WebClient stream(line_.port());
  stream.send(line_.words("GET", "/api/events", {}, session + "Host: localhost:PORT\r\n"));
  EXPECT_EQ(stream.head().status, 200);
  stream.event_of("line");
  line_.post("/api/logout", "{}", session);
  line_.pass(1);
  EXPECT_TRUE(stream.ends());
}

TEST_F(WebLoginTest, AnotherSitesPageCannotLogAnybodyIn) {
  EXPECT_EQ(log_in(line_, "Wu", "operator-password", "Origin: http://evil.example\r\n").status, 403);
  EXPECT_EQ(log_in(line_, "Wu", "operator-password", "Content-Type: text/plain\r\n").status, 415);
  EXPECT_EQ(line_.post("/api/slots/1/lock", R"({"reason": "x"})", engineer() + "Origin: null\r\n").status,
            403);
}

}  // namespace
