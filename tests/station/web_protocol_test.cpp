// The edges of HTTP at a line's server: limits, times, and everything that is no proper request.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/station/web_line.h"

namespace {

using testing::HasSubstr;

class WebProtocolTest : public testing::Test {
 protected:
  void SetUp() override { line_.start(); }
  /// The status with which these bytes, PORT replaced, are answered; the connection must end behind it.
  int status_of_last(std::string bytes) {
    if (const std::size_t at = bytes.find("PORT"); at != std::string::npos)
      bytes.replace(at, 4, line_.port());
    WebClient client(line_.port());
    client.send(bytes);
    client.send_end();
    const WebReply reply = client.reply();
    EXPECT_TRUE(client.ends());
    EXPECT_EQ(reply.status >= 400, reply.body.starts_with("{\"error\":"));
    return reply.status;
  }
  /// Asks something else: when it is answered, the server has dealt with what was sent before.
  void expect_alive() { EXPECT_EQ(line_.get("/healthz").status, 200); }

  WebLine line_;
};

const std::string kHost = "Host: localhost:PORT\r\n";

TEST_F(WebProtocolTest, EveryAnswerCarriesTheSameProtections) {
  const std::vector<std::pair<std::string, int>> targets{
      {"/", 200}, {"/api/line", 200}, {"/nothing", 404}, {"/healthz", 200}, {"/page/line.js", 200}};
  for (const auto& [target, status] : targets) {
    const WebReply reply = line_.get(target);
    EXPECT_EQ(reply.status, status) << target;
    EXPECT_EQ(reply.field("content-security-policy"),
              "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; img-src 'self'; "
              "worker-src 'self'; base-uri 'none'; form-action 'self'; frame-ancestors 'none'");
    EXPECT_EQ(reply.field("x-content-type-options"), "nosniff");
    EXPECT_EQ(reply.field("referrer-policy"), "no-referrer");
    EXPECT_EQ(reply.field("cross-origin-resource-policy"), "same-origin");
  }
  EXPECT_EQ(line_.get("/api/line").field("cache-control"), "no-store");
  EXPECT_EQ(line_.get("/api/nothing").field("cache-control"), "no-store");
}

TEST_F(WebProtocolTest, APathOfAnotherMethodSaysWhichOneItHas) {
  EXPECT_EQ(line_.post("/api/line", "{}").status, 405);
  EXPECT_EQ(line_.post("/api/line", "{}").field("allow"), "GET, HEAD");
  EXPECT_EQ(line_.get("/api/scan").field("allow"), "POST");
  for (const char* method : {"PUT", "DELETE", "OPTIONS", "TRACE", "PATCH", "BREW"}) {
    EXPECT_EQ(ask(line_.port(), method, "/api/slots/1/stop").status, 405) << method;
  }
}

TEST_F(WebProtocolTest, HeadIsAnsweredLikeGetWithoutTheBody) {
  WebClient client(line_.port());
  client.send(line_.words("HEAD", "/healthz") + line_.words("GET", "/healthz"));
  const WebReply head = client.reply(false), whole = client.reply();
  EXPECT_EQ(head.status, 200);
  EXPECT_EQ(head.field("content-length"), std::to_string(whole.body.size()));
  EXPECT_EQ(whole.status, 200);
  EXPECT_EQ(ask(line_.port(), "HEAD", "/api/events").status, 200);
}

TEST_F(WebProtocolTest, RequestsSentAheadAreAnsweredInTheirOrder) {
  WebClient client(line_.port());
  std::string words;
  for (int i = 0; i < 50; ++i) words += line_.words("GET", i % 2 == 0 ? "/healthz" : "/nothing");
  words += line_.words("POST", "/api/scan", R"({"text": "AB00000001", "slot": "1"})");
  words += line_.words("POST", "/api/slots/1/stop", "{}", "Connection: close\r\nHost: localhost:PORT\r\n");
  client.send(words);
  for (int i = 0; i < 50; ++i) EXPECT_EQ(client.reply().status, i % 2 == 0 ? 200 : 404);
  EXPECT_EQ(client.reply().status, 200);
  const WebReply last = client.reply();
  EXPECT_EQ(last.status, 200);
  EXPECT_EQ(last.field("connection"), "close");
  EXPECT_TRUE(client.ends());
}

TEST_F(WebProtocolTest, WhatIsNoRequestIsRefusedAndTheConnectionEnds) {
  const std::string post = "POST /api/scan HTTP/1.1\r\n" + kHost + "Content-Type: application/json\r\n";
  const std::vector<std::string> requests{
      "hello\r\n\r\n",
      "\x16\x03\x01\x02\x01\x01\x01\x01\xfc\x03\x03\r\n\r\n",
      "GET /healthz HTTP/2.0\r\n" + kHost + "\r\n",
      "GET /healthz\r\n\r\n",
      "GET /healthz HTTP/1.1\r\n\r\n",
      "GET /healthz HTTP/1.1\r\n" + kHost + "Host: other\r\n\r\n",
      "GET /healthz HTTP/1.1\r\n" + kHost + "Bad Name: x\r\n\r\n",
      "GET  /healthz HTTP/1.1\r\n" + kHost + "\r\n",
      post + "Origin: http://localhost:PORT\r\nOrigin: null\r\nContent-Length: 2\r\n\r\n{}",
      post + "Content-Type: text/plain\r\nContent-Length: 2\r\n\r\n{}",
      post + "Transfer-Encoding: gzip, chunked\r\n\r\n2\r\n{}\r\n0\r\n\r\n",
      post + "Content-Length: 2\r\nContent-Length: 3\r\n\r\n{}",
      post + "Content-Length: -1\r\n\r\n{}",
      post + "Content-Length: 2\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n",
      post + "Transfer-Encoding: chunked\r\n\r\nzz\r\n{}\r\n0\r\n\r\n"};
  for (const std::string& bytes : requests) {
    EXPECT_EQ(status_of_last(bytes), 400) << bytes;
  }
  for (const std::string& target :
       std::vector<std::string>{"http://localhost/healthz", "*", "healthz", "/%", "/%00", "/%c0%af"}) {
    EXPECT_EQ(status_of_last("GET " + target + " HTTP/1.1\r\nConnection: close\r\n" + kHost + "\r\n"), 400)
        << target;
  }
}

TEST_F(WebProtocolTest, NoPathLeadsOutOfThePages) {
  for (const char* path :
       {"/page/../line", "/page/..%2f..%2fetc/passwd", "/page/%2e%2e/%2e%2e/etc/passwd", "//page/line.js",
        "/page//line.js", "/page/", "/page", "/page/line.js/", "/page/./line.js", "/page/line.js%00.html",
        "/page/%6cine.js", "/PAGE/line.js", "/page/..\\line.js", "/index.html", "/api/slots//stop",
        "/api/slots/1%2fstop", "/api/line/", "/api", "/.git/config"}) {
    const int status = line_.get(path).status;
    EXPECT_TRUE(status == 404 || status == 400) << path << ": " << status;
  }
}

TEST_F(WebProtocolTest, AHeadIsAtMost16KiB) {
  const std::string start = "GET /healthz HTTP/1.1\r\nConnection: close\r\n" + kHost;
  EXPECT_EQ(status_of_last(start + "X: " + std::string(15000, 'x') + "\r\n\r\n"), 200);
  EXPECT_EQ(status_of_last(start + "X: " + std::string(17000, 'x') + "\r\n\r\n"), 431);
  EXPECT_EQ(status_of_last(start + "X: " + std::string(17000, 'x')), 431);
  std::string many = start;
  for (int i = 0; i < 4000; ++i) many += "X: y\r\n";
  EXPECT_EQ(status_of_last(many + "\r\n"), 431);
}

TEST_F(WebProtocolTest, ATargetIsAtMost8KiB) {
  const auto with_target = [](std::size_t size) {
    return "GET /" + std::string(size, 'x') + " HTTP/1.1\r\nConnection: close\r\n" + kHost + "\r\n";
  };
  EXPECT_EQ(status_of_last(with_target(8000)), 404);
  EXPECT_EQ(status_of_last(with_target(9000)), 414);
  EXPECT_EQ(status_of_last(with_target(100000)), 414);
}

TEST_F(WebProtocolTest, ABodyIsAtMost64KiB) {
  const std::string start =
      "POST /api/scan HTTP/1.1\r\nConnection: close\r\nContent-Type: application/json\r\n" + kHost;
  const auto with_body = [&start](std::size_t size) {
    return start + "Content-Length: " + std::to_string(size) + "\r\n\r\n" + std::string(size, ' ');
  };
  EXPECT_EQ(status_of_last(with_body(65536)), 400);  // it came whole, and is no JSON
  EXPECT_EQ(status_of_last(with_body(65537)), 413);
  EXPECT_EQ(status_of_last(with_body(3000000)), 413);
  EXPECT_EQ(status_of_last(start + "Content-Length: 99999999999999999999999\r\n\r\n"), 400);
  std::string chunks = start + "Transfer-Encoding: chunked\r\n\r\n";
  for (int i = 0; i < 17; ++i) chunks += "1000\r\n" + std::string(0x1000, ' ') + "\r\n";
  EXPECT_EQ(status_of_last(chunks + "0\r\n\r\n"), 413);
}

TEST_F(WebProtocolTest, ABodyInChunksIsABodyLikeAnyOther) {
  const std::string words =
      "POST /api/slots/1/lock HTTP/1.1\r\nConnection: close\r\n" + kHost +
      "Content-Type: application/json; charset=utf-8\r\nTransfer-Encoding: chunked\r\n\r\n"
      "8\r\n{\"reason\r\n7;x=y\r\n\": \"x\"}\r\n0\r\n\r\n";
  EXPECT_EQ(status_of_last(words), 200);
}

TEST_F(WebProtocolTest, WhoAsksBeforeSendingABodyIsToldToGoOn) {
  const std::string head =
      line_.words("POST", "/api/slots/1/lock", {},
                  "Host: localhost:PORT\r\nExpect: 100-continue\r\nContent-Length: 15\r\n");
  WebClient client(line_.port());
  client.send(head);
  EXPECT_EQ(client.head().status, 100);
  client.send(R"({"reason": "x"})");
  EXPECT_EQ(client.reply().status, 200);
  WebClient large(line_.port());
  large.send(line_.words("POST", "/api/scan", {},
                         "Host: localhost:PORT\r\nExpect: 100-continue\r\nContent-Length: 70000\r\n"));
  EXPECT_EQ(large.reply().status, 413);
}

TEST_F(WebProtocolTest, StateChangesNeedABodyOfJson) {
  for (const char* type : {"text/plain", "application/x-www-form-urlencoded",
                           "multipart/form-data; boundary=x", "application/jsonp", "", "text/json"}) {
    EXPECT_EQ(
        line_.post("/api/slots/1/lock", R"({"reason": "x"})", "Content-Type: " + std::string(type) + "\r\n")
            .status,
        415)
        << type;
  }
  EXPECT_EQ(line_.json("/api/line")["slots"][0]["state"], "idle");
}

TEST_F(WebProtocolTest, AnotherSitesPageChangesNothing) {
  const auto from = [this](const std::string& origin) {
    return line_.post("/api/slots/1/lock", R"({"reason": "x"})", "Origin: " + origin + "\r\n").status;
  };
  for (const char* origin : {"null", "", "http://evil.example", "https://localhost:PORT", "http://localhost",
                             "http://localhost:1", "http://localhost:PORT.evil.example"}) {
    EXPECT_EQ(from(origin), 403) << origin;
  }
  EXPECT_EQ(line_.json("/api/line")["slots"][0]["state"], "idle");
  EXPECT_EQ(from("http://localhost:" + line_.port()), 200);
}

TEST_F(WebProtocolTest, AForeignNameThatLeadsToThisPcReachesNothing) {
  const auto called = [this](const std::string& host) {
    return line_.get("/api/line", "Host: " + host + "\r\n").status;
  };
  for (const char* host : {"evil.example", "evil.example:PORT", "localhost", "localhost:1", "localhost.:PORT",
                           "192.0.2.7:PORT", "localhost:PORT@evil.example"}) {
    EXPECT_EQ(called(host), 403) << host;
  }
  for (const char* host : {"localhost:PORT", "LOCALHOST:PORT", "127.0.0.1:PORT", "[::1]:PORT"}) {
    EXPECT_EQ(called(host), 200) << host;
  }
  EXPECT_EQ(status_of_last("GET /healthz HTTP/1.0\r\n\r\n"), 200);  // no browser
}

TEST_F(WebProtocolTest, ARequestThatDripsIsEndedAfter30Seconds) {
  WebClient head(line_.port()), body(line_.port()), silent(line_.port());
  head.send("GET /healthz HT");
  body.send(line_.words("POST", "/api/scan", {}, "Host: localhost:PORT\r\nContent-Length: 30\r\n") +
            "{\"text\":");
  expect_alive();
  line_.pass(29);
  expect_alive();
  head.send("TP/1.1\r\nX:");
  body.send(" \"AB0000");
  expect_alive();
  line_.pass(2);
  EXPECT_EQ(head.reply().status, 408);
  EXPECT_EQ(body.reply().status, 408);
  EXPECT_EQ(silent.reply().status, 0);  // it asked nothing
  EXPECT_EQ(line_.json("/api/runs")["runs"].size(), 0U);
}

TEST_F(WebProtocolTest, AConnectionIsKeptForTheNextRequest75Seconds) {
  WebClient client(line_.port());
  client.send(line_.words("GET", "/healthz"));
  EXPECT_EQ(client.reply().status, 200);
  expect_alive();
  line_.pass(70);
  expect_alive();
  client.send(line_.words("GET", "/healthz"));
  EXPECT_EQ(client.reply().status, 200);
  expect_alive();
  line_.pass(76);
  EXPECT_EQ(client.reply().status, 0);
}

TEST_F(WebProtocolTest, WhoDoesNotTakeAnAnswerLosesTheConnection) {
  for (int i = 0; i < 30; ++i) records_support::pass(*line_.records, "AB" + std::to_string(10000000 + i));
  WebClient client(line_.port());
  client.take_little();
  std::string words;
  for (int i = 0; i < 100; ++i) words += line_.words("GET", "/api/runs?limit=1000");
  client.send(words);
  expect_alive();
  // Its answers fill what the system holds for it; then the time of one of them is over.
  for (int asked = 0; asked < 100; ++asked) {  // as much reading as for all of its own
    ASSERT_EQ(line_.get("/api/runs?limit=1000").status, 200);
    line_.pass(31);
  }
  EXPECT_TRUE(client.ends());
}

}  // namespace
