// The conversation with a board, built on its records.
#include "station/run/session.h"

#include <algorithm>
#include <utility>

#include "station/catalogue/codes.h"
#include "station/text/errors.h"

namespace t1station {
namespace {

constexpr double kTickSeconds = 0.1;

std::string unasked(const Reply& reply) {
  return "the board sent a reply to " + std::to_string(reply.code) + " that nobody asked for";
}

}  // namespace

bool belongs_to_greeting(const ServiceMessage& message) {
  return message.lines.size() > 1;
}

std::optional<Document> Session::next(double seconds, const Tick& tick) {
  std::optional<std::string> record = next_record(seconds, tick);
  if (!record) return std::nullopt;
  received_ = std::move(*record);
  Document document = parse_document(received_);
  if (std::holds_alternative<ServiceMessage>(document)) received_.clear();
  return document;
}

std::optional<std::string> Session::next_record(double seconds, const Tick& tick) {
  const double start = clock_.now();
  while (true) {
    if (std::optional<std::string> record = reader_.next()) return record;
    const double elapsed = clock_.now() - start;
    if (tick) tick(elapsed);
    const double left = std::max(0.0, seconds - elapsed);
    const Received received = link_.receive(tick ? std::min(left, kTickSeconds) : left);
    switch (received.kind) {
      case Received::Kind::data:
        reader_.feed(received.bytes);
        break;
      case Received::Kind::closed:
        throw LinkError(received.reason + (reader_.holds_a_part() ? " in the middle of a record" : ""));
      case Received::Kind::interrupted:
        throw Interrupted();
      case Received::Kind::nothing:
        if (clock_.now() - start >= seconds) return std::nullopt;
        break;
    }
  }
}

std::vector<ServiceMessage> Session::greet(double seconds, const Tick& tick) {
  const double start = clock_.now();
  std::vector<ServiceMessage> greeting;
  while (greeting.size() < 2) {
    const double before = clock_.now() - start;
    std::optional<Document> document = next(std::max(0.0, seconds - before), [&](double elapsed) {
      if (tick) tick(before + elapsed);
    });
    if (!document) throw TimedOut();
    if (const Reply* reply = std::get_if<Reply>(&*document)) throw ProtocolError(unasked(*reply));
    ServiceMessage& message = std::get<ServiceMessage>(*document);
    if (belongs_to_greeting(message)) greeting.push_back(std::move(message));
  }
  return greeting;
}

void Session::refuse_stale_replies() {
  while (const std::optional<Document> document = next(0)) {
    if (const Reply* reply = std::get_if<Reply>(&*document)) throw ProtocolError(unasked(*reply));
  }
}

Reply Session::run(const TestRequest& request, const Tick& tick) {
  received_.clear();
  refuse_stale_replies();
  // The rest of what began before the request was not asked for either.
  bool began_before = reader_.holds_a_part();
  link_.send(make_record(make_request(request.code, request.parameter)));
  const double start = clock_.now();
  while (true) {
    const double before = clock_.now() - start;
    const double left = request.timeout - before;
    if (left < 0) throw TimedOut();
    const std::optional<Document> document = next(left, [&](double elapsed) { tick(before + elapsed); });
    if (!document) throw TimedOut();
    const Reply* reply = std::get_if<Reply>(&*document);
    const bool is_unasked = std::exchange(began_before, false);
    if (!reply) continue;
    if (is_unasked) throw ProtocolError(unasked(*reply));
    const std::int32_t expected = reply_code(request.code);
    if (reply->code != expected) {
      throw ProtocolError("the board answered " + std::to_string(reply->code) + " instead of " +
                          std::to_string(expected));
    }
    return *reply;
  }
}

void Session::leave(double seconds) noexcept {
  try {
    link_.send(make_record(make_request(kQuitCode)));
    const double deadline = clock_.now() + seconds;
    while (clock_.now() < deadline) {
      const Received received = link_.receive(deadline - clock_.now());
      if (received.kind == Received::Kind::closed || received.kind == Received::Kind::interrupted) return;
    }
  } catch (const std::exception&) {
    return;  // a connection that is gone needs no leave
  }
}

}  // namespace t1station
