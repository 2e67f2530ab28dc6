// Streams of events from a line's server: what comes when, how much, and what slow readers cost others.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/station/web_line.h"

namespace {

using nlohmann::json;

class WebEventsTest : public testing::Test {
 protected:
  std::unique_ptr<WebClient> stream() {
    auto client = std::make_unique<WebClient>(line_.port());
    client->send(line_.words("GET", "/api/events"));
    const WebReply head = client->head();
    EXPECT_EQ(head.status, 200);
    EXPECT_EQ(head.field("content-type"), "text/event-stream");
    EXPECT_EQ(head.field("cache-control"), "no-store");
    return client;
  }
  void lock(const std::string& reason) {
    EXPECT_EQ(line_.post("/api/slots/1/lock", "{\"reason\": \"" + reason + "\"}").status, 200);
  }
  void unlock() { EXPECT_EQ(line_.post("/api/slots/1/unlock", R"({"reason": "x"})").status, 200); }
  static std::string reason_in(const std::string& document) {
    const json reason = json::parse(document)["slots"][0]["reason"];
    return reason.is_null() ? "" : reason.get<std::string>();
  }
  std::size_t open_streams() {
    const std::string figures = line_.get("/metrics").body, name = "\nboardtest_streams ";
    return std::stoul(figures.substr(figures.find(name) + name.size()));
  }

  WebLine line_;
};

TEST_F(WebEventsTest, AStreamBeginsWithTheDocumentThatTheLineHas) {
  line_.start();
  json streamed = json::parse(stream()->event_of("line")), asked = line_.json("/api/line");
  streamed.erase("time");
  asked.erase("time");
  EXPECT_EQ(streamed, asked);
}

TEST_F(WebEventsTest, OfManyChangesWithinATenthOfASecondOnlyTheFirstAndTheLastAreSent) {
  line_.start();
  const auto client = stream();
  client->event_of("line");
  lock("first");
  EXPECT_THAT(reason_in(client->event_of("line")), testing::HasSubstr("first"));
  for (int i = 0; i < 10; ++i) {
    unlock();
    lock("change " + std::to_string(i));
  }
  line_.pass(0.1);
  EXPECT_THAT(reason_in(client->event_of("line")), testing::HasSubstr("change 9"));
  line_.pass(1);
  EXPECT_EQ(client->event().substr(0, 12), "event: tick\n");  // nothing else was sent
}

TEST_F(WebEventsTest, ATickComesEachSecondAndTellsTheTime) {
  line_.start();
  const auto client = stream();
  client->event_of("line");
  for (int i = 0; i < 3; ++i) {
    line_.pass(1);
    EXPECT_THAT(json::parse(client->event_of("tick"))["time"].get<std::string>(),
                testing::MatchesRegex("20..-..-..T..:..:..\\....Z"));
  }
}

TEST_F(WebEventsTest, ThreeHundredStreamsAllSeeAChange) {
  line_.start();
  std::vector<std::unique_ptr<WebClient>> clients;
  for (int i = 0; i < 300; ++i) clients.push_back(stream());
  EXPECT_EQ(open_streams(), 300U);
  lock("seen by all");
  for (const auto& client : clients) {
    std::string document;
    while (reason_in(document = client->event_of("line")).empty()) continue;
    EXPECT_THAT(reason_in(document), testing::HasSubstr("seen by all"));
  }
}

TEST_F(WebEventsTest, AReaderThatDoesNotReadLosesItsStreamAndHoldsUpNobody) {
  line_.file.station = std::string(60000, 'x');  // a document that fills buffers soon
  line_.start();
  WebClient slow(line_.port());
  slow.take_little();
  slow.send(line_.words("GET", "/api/events"));
  slow.head();
  const auto quick = stream();
  quick->event_of("line");
  for (int i = 0; open_streams() == 2 && i < 400; ++i) {
    if (i % 2 == 0)
      lock(std::to_string(i));
    else
      unlock();
    line_.pass(1);
    quick->event_of("line");
  }
  EXPECT_EQ(open_streams(), 1U);
}

TEST_F(WebEventsTest, AStreamWhoseReaderLeavesIsForgotten) {
  line_.start();
  {
    const auto client = stream();
    EXPECT_EQ(open_streams(), 1U);
  }
  while (open_streams() != 0) continue;
}

TEST_F(WebEventsTest, WhatIsBeyondTheMostConnectionsIsClosedAndTheOthersGoOn) {
  line_.limits.connections = 3;
  line_.start();
  auto one = stream(), two = stream(), three = stream();
  WebClient fourth(line_.port());
  fourth.send(line_.words("GET", "/healthz"));
  EXPECT_EQ(fourth.reply().status, 0);
  one->event_of("line");
  one.reset();
  while (line_.get("/healthz").status != 200) continue;
  two->event_of("line");
}

TEST_F(WebEventsTest, OneAddressHasOnlyItsShareOfTheConnections) {
  line_.limits.of_one_address = 2;
  line_.start();
  const auto one = stream(), two = stream();
  EXPECT_EQ(line_.get("/healthz").status, 0);
}

TEST_F(WebEventsTest, StreamsEndWithTheServer) {
  line_.start();
  const auto client = stream();
  client->event_of("line");
  line_.stop();
  EXPECT_TRUE(client->ends());
}

TEST_F(WebEventsTest, APortThatIsTakenIsSaidBeforeAnythingIsServed) {
  line_.start();
  line_.file.port = line_.port();
  EXPECT_THROW(t1station::WebServer(line_.file, *line_.line, line_.file.records), std::system_error);
}

}  // namespace
