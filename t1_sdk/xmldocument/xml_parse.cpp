// XML document: from a text to the element index.
#include <algorithm>
#include <cstring>
#include <iterator>
#include <limits>
#include <string_view>

#include "t1_sdk/xmldocument/xml_document.h"
#include "t1_sdk/xmldocument/xml_scan.h"

using xml_scan::find_behind_line_end;
using xml_scan::find_tag_ends;
using xml_scan::is;
using xml_scan::kDelimiter;
using xml_scan::kNameEnd;
using xml_scan::kNoName;
using xml_scan::kQuote;
using xml_scan::kSpace;
using xml_scan::same_unquoted;

namespace {

// Every text that m_strError can hold; %s is the element's tag name. A child is looked for before an end
// tag, so an element without one ends in kNoElementTag, and kNoEndTag and kNotAnEndTag are never met.
constexpr char kNoElementTag[] = "Element tag not found";
constexpr char kAbruptEnd[] = "Abrupt end within tag";
constexpr char kStartsWithQuote[] = "Tag starts with quote";
constexpr char kInvalidNode[] = "Invalid node";
constexpr char kNoTagEnd[] = "End of tag not found";
constexpr char kNoEndTag[] = "End tag of %s element not found";
constexpr char kNotAnEndTag[] = "Expecting end tag of element %s";
constexpr char kOtherEndTag[] = "End tag does not correspond to %s";
constexpr char kOpenEndTag[] = "End tag not completed for element %s";

/// Index entries of an empty document, and what most messages need no more than: their index is allocated
/// once.
constexpr std::size_t kLeastEntries = 8;
constexpr std::size_t kUsualEntries = 32;
/// Those of an empty document, to be copied: compilers clear so many bytes with an instruction that is slow
/// to start.
constexpr ElemPos kClearEntries[kLeastEntries];
/// An index that has outgrown its room gets room for an entry for each of so many bytes of the text.
constexpr std::size_t kBytesOfElement = 16;

/// Where the usual end tag at `tag`, "</name>", has its '>', the start tag having its ends at `start` and
/// `start_end`; null for one whose name is another one or is followed by anything.
const char* usual_end_tag(const char* start, const char* start_end, const char* tag, const char* end) {
  if (tag == end || tag[1] != '/') return nullptr;
  ++start;
  tag += 2;
  // Mostly it is the start tag once more. Quotation marks are not: a '>' between them ends a start tag only.
  if (same_unquoted(start, tag, start_end + 1 - start, end)) return tag + (start_end - start);
  if (is(*start, kDelimiter)) return nullptr;
  while (*start == *tag && !is(*start, kDelimiter)) {
    ++start;
    ++tag;
  }
  return is(*start, kDelimiter) && *tag == '>' ? tag : nullptr;
}

/// Moves nNext behind the next `end`, whose last character is a '>'; false when there is none.
bool skip_past(TokenPos& token, std::string_view end) {
  const char* const node = token.szDoc + token.nL;
  for (const char* last = std::strchr(node, '>'); last != nullptr; last = std::strchr(last + 1, '>')) {
    const std::string_view text(node, static_cast<std::size_t>(last + 1 - node));
    if (!text.ends_with(end)) continue;
    token.nNext = token.nL + static_cast<int>(text.size());
    return true;
  }
  return false;
}

}  // namespace

bool TokenPos::Match(const char* szName) const {
  for (int n = nL; n <= nR; ++n, ++szName) {
    if (szDoc[n] != *szName) return false;
  }
  return is(*szName, kNameEnd);
}

XmlDocument::XmlDocument() {
  m_aPos.reserve(kUsualEntries);
  m_aPos.assign(std::begin(kClearEntries), std::end(kClearEntries));
}

XmlDocument::~XmlDocument() = default;

bool XmlDocument::SetDoc(const char* szDoc) {
  m_iPosFree = 1;
  ResetPos();
  m_mapSavedPos.clear();
  m_strError.clear();
  m_strDoc = szDoc == nullptr ? "" : szDoc;

  std::size_t nEntries = m_aPos.size();  // as many as growing it by halves would give, as edits do
  int iRoot = 0;
  if (!m_strDoc.empty() && m_strDoc.size() < static_cast<std::size_t>(std::numeric_limits<int>::max())) {
    x_Elem(0).Clear();
    iRoot = x_ParseElem(0);
  }
  nEntries = std::max(nEntries, m_strDoc.size() / 64 + kLeastEntries);
  while (nEntries < m_aPos.size()) nEntries += nEntries / 2;
  m_aPos.resize(nEntries);
  if (iRoot > 0) {
    x_Elem(0).iElemChild = iRoot;
  } else {
    x_Elem(0).Clear();
    m_iPosFree = 1;
  }
  ResetPos();
  return iRoot > 0;
}

bool XmlDocument::IsWellFormed() const {
  return !m_aPos.empty() && x_Elem(0).iElemChild != 0;
}

// Parses the element that starts at the parent's nEndL, with all that is in it. Returns its index, 0 when
// the parent's end tag comes first, -1 on an error. Elements that are still open are remembered by their
// parent links alone, so that no nesting is too deep.
int XmlDocument::x_ParseElem(int iPosParent) {
  const char* const doc = m_strDoc.c_str();
  const char* const end = doc + m_strDoc.size();
  int iParent = iPosParent;
  int iPrevious = 0;  // the sibling before the element that comes next
  const char* tag = find_behind_line_end(doc + x_Elem(iPosParent).nEndL, end, '<');
  for (;;) {
    int iPos = x_NextPos();
    if (tag == end) return x_ParseError(kNoElementTag);
    x_Elem(iParent).nEndL = x_At(tag);
    const char* name = tag + 1;
    while (is(*name, kSpace)) ++name;
    const char* last = nullptr;  // the '>' of the element that ends here
    if (*name == '/') {          // no more children: the parent ends
      x_ReleasePos();
      if (iParent == iPosParent) return 0;
      iPos = iParent;
      last = usual_end_tag(doc + x_Elem(iPos).nStartL, doc + x_Elem(iPos).nStartR, tag, end);
      if (last == nullptr) last = x_ParseEndTag(iPos);
      if (last == nullptr) return -1;
      iParent = x_Elem(iPos).iElemParent;
    } else if (is(*name, kNoName)) {
      tag = x_PastNode(tag, name);
      if (tag == nullptr) return -1;
      tag = find_behind_line_end(tag, end, '<');
      continue;
    } else {
      const auto [close, next] = find_tag_ends(name + 1, end);
      if (close == end) return x_ParseError(kNoTagEnd);
      if (iParent != iPosParent)
        (iPrevious != 0 ? x_Elem(iPrevious).iElemNext : x_Elem(iParent).iElemChild) = iPos;
      x_Elem(iPos) = {.nStartL = x_At(tag), .nStartR = x_At(close), .iElemParent = iParent};
      const bool bEmpty = close[-1] == '/';
      last = bEmpty ? close : usual_end_tag(tag, close, next, end);  // most elements hold nothing but a text
      if (last == nullptr) {
        iParent = iPos;
        iPrevious = 0;
        tag = next;
        continue;
      }
      x_Elem(iPos).nEndL = x_At(bEmpty ? close - 1 : next);
    }
    x_Elem(iPos).nEndR = x_At(last);
    if (iParent == iPosParent) return iPos;
    iPrevious = iPos;
    tag = find_behind_line_end(last + 1, end, '<');
  }
}

// Behind the node at a '<' that is no element, `name` being the first character in it that is no white space.
// Its entry of the index is given back. Null after setting the error text.
const char* XmlDocument::x_PastNode(const char* tag, const char* name) {
  const char* szError = kInvalidNode;
  if (*name == '\0') szError = kAbruptEnd;
  if (is(*name, kQuote)) szError = kStartsWithQuote;
  if (*name == '?' || *name == '!') {
    TokenPos token(m_strDoc.c_str());
    token.nNext = x_At(tag);
    // An element here is "< ?" with white space inside: it would be met again and again.
    const int nType = x_ParseNode(token);
    if (nType != 0 && nType != MNT_ELEMENT) {
      x_ReleasePos();
      return token.szDoc + token.nNext;
    }
  }
  x_ParseError(szError);
  return nullptr;
}

// Where the end tag at the nEndL of an open element has its '>'. Null after setting the error text.
const char* XmlDocument::x_ParseEndTag(int iPos) {
  const char* doc = m_strDoc.c_str();
  const std::string name(x_GetTagName(iPos));
  const auto error = [this, &name](const char* szError) {
    x_ParseError(szError, name.c_str());
    return nullptr;
  };
  TokenPos token(doc);
  token.nNext = x_Elem(iPos).nEndL;
  if (!x_FindChar(doc, token.nNext, '<')) return error(kNoEndTag);
  ++token.nNext;
  for (int nTokens = 1; x_FindToken(token); ++nTokens) {
    if (token.bIsString) continue;
    if (nTokens == 1 && doc[token.nL] != '/') return error(kNotAnEndTag);
    if (nTokens == 2 && !token.Match(name.c_str())) return error(kOtherEndTag);
    if (nTokens > 2 && doc[token.nL] == '>') return doc + token.nL;
  }
  return error(kOpenEndTag);
}

// Classifies the node at nNext and moves nNext past it; a node type, or 0 when it has no end.
int XmlDocument::x_ParseNode(TokenPos& token) {
  const char* doc = token.szDoc;
  token.nL = token.nNext;
  const char* node = doc + token.nL;
  if (*node == '\0') return 0;
  if (*node != '<') {
    int n = token.nL;
    if (!x_FindAny(doc, n) || doc[n] == '<') return MNT_WHITESPACE;
    x_FindChar(doc, token.nNext, '<');
    return MNT_TEXT;
  }
  if (node[1] == '\0' || node[2] == '\0') return 0;
  if (node[1] == '?') return skip_past(token, "?>") ? MNT_PROCESSING_INSTRUCTION : 0;
  if (node[1] == '/') return 0;
  if (node[1] != '!') return MNT_ELEMENT;
  if (node[2] == '[') return skip_past(token, "]]>") ? MNT_CDATA_SECTION : 0;
  if (node[2] == '-') return skip_past(token, "-->") ? MNT_COMMENT : 0;

  int nDepth = 0;
  ++token.nNext;
  while (x_FindToken(token)) {
    if (token.bIsString) continue;
    for (int n = token.nL; n <= token.nR; ++n) nDepth += (doc[n] == '[') - (doc[n] == ']');
    if (doc[token.nL] == '>' && nDepth == 0) {
      token.nL = static_cast<int>(node - doc);
      return MNT_DOCUMENT_TYPE;
    }
  }
  return 0;
}

bool XmlDocument::x_FindToken(TokenPos& token) {
  const char* doc = token.szDoc;
  int n = token.nNext;
  token.bIsString = false;
  if (!x_FindAny(doc, n)) {
    token.nL = token.nR = token.nNext = n;
    return false;
  }
  if (is(doc[n], kQuote)) {
    const char quote = doc[n];
    token.bIsString = true;
    token.nL = ++n;
    x_FindChar(doc, n, quote);
    token.nR = n - 1;
    token.nNext = doc[n] == '\0' ? n : n + 1;
    return true;
  }
  token.nL = n;
  if (!is(doc[n], kDelimiter)) {  // one of those is a token of its own
    while (!is(doc[n + 1], kDelimiter)) ++n;
  }
  ++n;
  token.nR = n - 1;
  token.nNext = n;
  return true;
}

bool XmlDocument::x_FindAny(const char* szDoc, int& nChar) {
  while (is(szDoc[nChar], kSpace)) ++nChar;
  return szDoc[nChar] != '\0';
}

bool XmlDocument::x_FindChar(const char* szDoc, int& nChar, char c) {
  const char* from = szDoc + nChar;
  const char* found = std::strchr(from, c);
  nChar += static_cast<int>(found == nullptr ? std::strlen(from) : static_cast<std::size_t>(found - from));
  return found != nullptr;
}

void XmlDocument::x_GrowIndex() {
  const std::size_t nEntries = m_aPos.size();
  if (nEntries + nEntries / 2 > m_aPos.capacity()) m_aPos.reserve(4 * nEntries);  // seldom copied
  m_aPos.resize(nEntries + nEntries / 2);
}

// The same while a text is parsed: the index grows entry by entry, so that none is cleared and never
// used, and its room with an eye on the length of the text.
inline int XmlDocument::x_NextPos() {
  const auto iPos = static_cast<std::size_t>(m_iPosFree);
  if (iPos == m_aPos.size()) {
    if (iPos == m_aPos.capacity()) x_MoreRoom();
    m_aPos.emplace_back();
  }
  return m_iPosFree++;
}

void XmlDocument::x_MoreRoom() {
  m_aPos.reserve(std::max(2 * m_aPos.size(), m_strDoc.size() / kBytesOfElement));
}

int XmlDocument::x_ReleasePos() {
  --m_iPosFree;
  return 0;
}

int XmlDocument::x_ParseError(const char* szError, const char* szName) {
  m_strError = szError;
  const std::size_t at = szName == nullptr ? std::string::npos : m_strError.find("%s");
  if (at != std::string::npos) m_strError.replace(at, 2, szName);
  x_ReleasePos();
  return -1;
}
