// The documents that the XML benchmarks parse, read and build.
#pragma once

#include <string>
#include <vector>

/// An element of a document: its text, or its children.
struct Element {
  std::string name;
  std::string text{};
  std::vector<Element> children{};
};

/// What every document but a request starts with. The texts are UTF-8, which all libraries take as it is.
inline constexpr char kHeader[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n";

/// A document as its elements and as a text, which has line ends behind elements as those of the board have.
struct Message {
  std::string name;
  bool has_header;
  Element root;
  std::string text;
};

/// A station's request of 60 bytes.
const Message& request_60();
/// A test's reply of 400 bytes.
const Message& reply_400();
/// A reply of 1900 bytes, near the longest that there is.
const Message& reply_1900();
/// A document of so many elements besides its root, a tenth of them with nine children each. Made once.
const Message& document_of(int elements);
