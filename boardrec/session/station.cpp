#include "boardrec/session/station.h"

#include <cstring>
#include <map>
#include <pugixml.hpp>

namespace boardrec {
namespace {

constexpr std::int32_t kLongestDocument = 4096;  // neither side sends longer ones

/// The documents of one direction of a connection, each behind its length.
class Documents {
 public:
  /// Takes bytes; those documents that are complete now.
  std::vector<std::string> take(const Value& bytes) {
    std::vector<std::string> complete;
    if (bytes.type != ValueType::bytes)
      lost_ = true;  // bytes are missing: nobody knows where the next begins
    if (lost_) return complete;
    waiting_ += bytes.bytes;
    for (std::int32_t size = 0; waiting_.size() >= sizeof size;) {
      std::memcpy(&size, waiting_.data(), sizeof size);
      lost_ = size < 0 || size > kLongestDocument;
      const std::size_t whole = sizeof size + static_cast<std::size_t>(lost_ ? 0 : size);
      if (lost_ || waiting_.size() < whole) break;
      complete.push_back(waiting_.substr(sizeof size, whole - sizeof size));
      waiting_.erase(0, whole);
    }
    return complete;
  }

 private:
  std::string waiting_;
  bool lost_ = false;
};

struct Connection {
  std::size_t number = 0;
  Documents asked;
  Documents told;
};

/// The root of a document; none for what is no XML. Its Chinese is GBK, in which no byte of a character can
/// be taken for markup.
pugi::xml_node root_of(pugi::xml_document& document, const std::string& text) {
  document.load_buffer(text.data(), text.size(), pugi::parse_default, pugi::encoding_latin1);
  return document.document_element();
}

StationRequest request_of(const std::string& text, std::size_t call, std::size_t connection) {
  StationRequest request{.call = call, .connection = connection};
  pugi::xml_document document;
  const pugi::xml_node root = root_of(document, text);
  if (const pugi::xml_node code = root.child("TestCode")) request.code = code.text().as_llong();
  request.parameter = printable(root.child("Parameters").text().get());
  return request;
}

}  // namespace

std::string name_of(const StationRequest& request) {
  constexpr std::int64_t kQuit = 62208;
  if (!request.code) return "no code";
  if (request.code == kQuit) return "quit";
  const std::string code = std::to_string(*request.code);
  return request.parameter.empty() ? code : code + "=" + request.parameter;
}

std::vector<StationRequest> station_requests(const std::vector<NamedCall>& calls) {
  std::vector<StationRequest> requests;
  std::map<std::size_t, Connection> connections;
  for (std::size_t at = 0; at < calls.size(); ++at) {
    const Record& record = *calls[at].record;
    const bool received = record.call == Call::recv || record.call == Call::read;
    const bool sent = record.call == Call::send || record.call == Call::write;
    if ((!received && !sent) || calls[at].node != "station" || record.result <= 0) continue;
    Connection& connection = connections[calls[at].opened_by];
    if (connection.number == 0) connection.number = connections.size();
    if (received) {
      for (const std::string& text : connection.asked.take(value_at(record.out, 0)))
        requests.push_back(request_of(text, at, connection.number));
      continue;
    }
    for (const std::string& text : connection.told.take(value_at(record.in, 2))) {
      pugi::xml_document document;
      const pugi::xml_node item = root_of(document, text).child("Result").child("ResultItem");
      if (!item || requests.empty() || !requests.back().value.empty()) continue;
      requests.back().value = printable(item.child("Value").text().get());
      requests.back().answered = record.ended;
    }
  }
  return requests;
}

}  // namespace boardrec
