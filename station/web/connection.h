// One connection: requests one behind the other, or a stream of events.
#pragma once

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>
#include <functional>
#include <memory>
#include <string>

#include "station/web/http.h"
#include "station/web/limits.h"

namespace t1station {

class Connection;

/// Who has the connections.
class ConnectionOwner {
 public:
  ConnectionOwner() = default;
  ConnectionOwner(const ConnectionOwner&) = delete;
  ConnectionOwner& operator=(const ConnectionOwner&) = delete;
  virtual ~ConnectionOwner() = default;

  virtual const WebLimits& limits() const = 0;
  virtual double now() const = 0;
  /// Deals with a request; `reply` is called once, on the server's thread.
  virtual void dispatch(WebRequest request, std::function<void(WebAnswer)> reply) = 0;
  /// The connection is a stream from now on.
  virtual void streams(const std::shared_ptr<Connection>& connection) = 0;
  /// The connection is gone. Called once.
  virtual void left(Connection& connection) = 0;
};

/// An event as it travels, shared by all streams.
using EventText = std::shared_ptr<const std::string>;

/// All of it is for the server's thread.
class Connection : public std::enable_shared_from_this<Connection> {
 public:
  Connection() = default;
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  virtual ~Connection() = default;

  virtual void start() = 0;
  /// Ends it at once.
  virtual void close() = 0;
  /// Ends it, or the request, when its time is over.
  virtual void look_at_time(double now) = 0;

  /// Only for streams: what is to be sent next. Of several documents, and of several ticks, that could not
  /// be sent yet only the newest is.
  virtual void send_document(const EventText& text) = 0;
  virtual void send_tick(const EventText& text) = 0;
  /// Whose stream it is; see WebAnswer::session.
  const std::string& session() const { return session_; }
  /// The numeric address of the other end.
  const std::string& address() const { return address_; }
  /// The document that was sent last.
  const EventText& document() const { return document_; }

 protected:
  std::string session_, address_;
  EventText document_;
};

/// A connection that was accepted; it encrypts where there is a context. Both must outlive it.
std::shared_ptr<Connection> make_connection(boost::asio::ip::tcp::socket socket,
                                            boost::asio::ssl::context* encryption, ConnectionOwner& owner);

}  // namespace t1station
