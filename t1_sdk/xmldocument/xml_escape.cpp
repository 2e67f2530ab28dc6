// XML document: text into the document and out of it.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "t1_sdk/xmldocument/xml_document.h"
#include "t1_sdk/xmldocument/xml_scan.h"

using xml_scan::find;
using xml_scan::find_any;

namespace {

struct Entity {
  const char* name;
  char character;
};

constexpr Entity kEntities[] = {{"lt;", '<'}, {"amp;", '&'}, {"gt;", '>'}, {"apos;", '\''}, {"quot;", '"'}};

/// How many characters behind "&#" or "&#x" may hold the ';'.
constexpr std::ptrdiff_t kReferenceLimit = 7;

// As UTF-8, although the program's documents are GBK: what the document always did.
void append_utf8(std::string& text, long code) {
  const auto byte = [&text](long value) { text += static_cast<char>(value); };
  if (code < 0x80) {
    byte(code);
  } else if (code < 0x800) {
    byte(0xC0 | code >> 6);
    byte(0x80 | (code & 0x3F));
  } else {
    byte(0xE0 | (code >> 12 & 0x0F));
    byte(0x80 | (code >> 6 & 0x3F));
    byte(0x80 | (code & 0x3F));
  }
}

/// Resolves the numeric reference at the '&'. Returns the first character behind it, or null when it is none.
const char* numeric_reference(const char* text, const char* end, std::string& out) {
  if (end - text < 2 || text[1] != '#') return nullptr;
  const char* digits = text + 2;
  int base = 10;
  if (digits < end && *digits == 'x') {
    base = 16;
    ++digits;
  }
  const char* limit = digits + std::min(kReferenceLimit, end - digits);
  const char* semicolon = std::find(digits, limit, ';');
  if (semicolon == limit) return nullptr;
  append_utf8(out, std::strtol(std::string(digits, semicolon).c_str(), nullptr, base));
  return semicolon + 1;
}

/// The same for one of the five named entities.
const char* named_entity(const char* text, const char* end, std::string& out) {
  for (const Entity& entity : kEntities) {
    const std::size_t length = std::strlen(entity.name);
    if (static_cast<std::size_t>(end - text - 1) < length) continue;
    if (std::memcmp(text + 1, entity.name, length) != 0) continue;
    out += entity.character;
    return text + 1 + length;
  }
  return nullptr;
}

}  // namespace

std::string XmlDocument::x_TextToDoc(const char* szText, bool bAttrib) {
  std::string text;
  const std::size_t length = std::strlen(szText);
  const char* const end = szText + length;
  text.reserve(length + length / 10);
  for (const char* p = szText;;) {
    const char* const special =
        bAttrib ? find_any(p, end, '<', '&', '>', '\'', '"') : find_any(p, end, '<', '&', '>');
    text.append(p, special);
    if (special == end) return text;
    const Entity* const entity = std::find_if(std::begin(kEntities), std::end(kEntities),
                                              [special](const Entity& e) { return e.character == *special; });
    text.append("&").append(entity->name);
    p = special + 1;
  }
}

std::string XmlDocument::x_TextFromDoc(int nLeft, int nRight) const {
  const char* p = m_strDoc.c_str() + nLeft;
  const char* const end = m_strDoc.c_str() + nRight + 1;
  const char* reference = find(p, end, '&');
  std::string text(p, reference);  // mostly all of it
  while (reference != end) {
    p = numeric_reference(reference, end, text);
    if (p == nullptr) p = named_entity(reference, end, text);
    if (p == nullptr) {
      text += *reference;
      p = reference + 1;
    }
    reference = find(p, end, '&');
    text.append(p, reference);
  }
  return text;
}
