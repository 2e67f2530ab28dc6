// XML document: from a text to the element index.
#include <cstring>
#include <limits>

#include "t1_sdk/xmldocument/xml_document.h"

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

/// Characters among which most searches end: a call would take longer than looking at them.
constexpr int kNear = 16;

// Asked about every character: chains of comparisons, which compilers make one test of.
bool is_whitespace(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

bool is_delimiter(char c) {
  return is_whitespace(c) || c == '<' || c == '>' || c == '=' || c == '\\' || c == '/' || c == '?' ||
         c == '!' || c == '\0';
}

bool is_quote(char c) {
  return c == '"' || c == '\'';
}

/// Whether a name that is looked for ends here.
bool ends_name(char c) {
  return c == '\0' || c == ' ' || c == '=' || c == '/' || c == '[';
}

/// Where the usual end tag at `end`, "</name>", has its '>', the start tag being at `start`; null for one
/// that is written in another way or is none.
const char* usual_end_tag(const char* start, const char* end) {
  if (end[0] != '<' || end[1] != '/') return nullptr;
  ++start;
  end += 2;
  if (is_delimiter(*start)) return nullptr;
  while (*start == *end && !is_delimiter(*start)) {
    ++start;
    ++end;
  }
  return is_delimiter(*start) && *end == '>' ? end : nullptr;
}

/// Moves nNext behind the next `end`; false when there is none.
bool skip_past(TokenPos& token, const char* end) {
  const char* const found = std::strstr(token.szDoc + token.nL, end);
  if (found == nullptr) return false;
  token.nNext = static_cast<int>(found - token.szDoc + static_cast<std::ptrdiff_t>(std::strlen(end)));
  return true;
}

}  // namespace

bool TokenPos::Match(const char* szName) const {
  for (int n = nL; n <= nR; ++n, ++szName) {
    if (szDoc[n] != *szName) return false;
  }
  return ends_name(*szName);
}

XmlDocument::XmlDocument() {
  m_aPos.reserve(kUsualEntries);
  m_aPos.resize(kLeastEntries);
}

XmlDocument::~XmlDocument() = default;

bool XmlDocument::SetDoc(const char* szDoc) {
  m_iPosFree = 1;
  ResetPos();
  m_mapSavedPos.clear();
  m_strError.clear();
  m_strDoc = szDoc == nullptr ? "" : szDoc;

  const std::size_t reserve = m_strDoc.size() / 64 + kLeastEntries;
  if (m_aPos.size() < reserve) m_aPos.resize(reserve);

  int iRoot = 0;
  if (!m_strDoc.empty() && m_strDoc.size() < static_cast<std::size_t>(std::numeric_limits<int>::max())) {
    x_Elem(0).Clear();
    iRoot = x_ParseElem(0);
  }
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
  int iParent = iPosParent;
  int iPrevious = 0;  // the sibling before the element that comes next
  for (;;) {
    int iPos = x_ParseStartTag(iParent);
    if (iPos < 0) return -1;
    if (iPos > 0 && iParent != iPosParent) {
      if (iPrevious != 0) {
        x_Elem(iPrevious).iElemNext = iPos;
      } else {
        x_Elem(iParent).iElemChild = iPos;
      }
    }
    if (iPos > 0 && !x_Elem(iPos).IsEmptyElement()) {
      x_Elem(iPos).nEndL = x_Elem(iPos).nStartR + 1;
      iParent = iPos;
      iPrevious = 0;
      continue;
    }
    if (iPos == 0) {  // no more children: the parent ends here
      if (iParent == iPosParent) return 0;
      if (!x_ParseEndTag(iParent)) return -1;
      iPos = iParent;
      iParent = x_Elem(iPos).iElemParent;
    }
    if (iParent == iPosParent) return iPos;
    x_Elem(iParent).nEndL = x_Elem(iPos).nEndR + 1;
    iPrevious = iPos;
  }
}

// Takes an index for the next element of the parent and reads its start tag, nodes that are no elements
// passed over. Returns the index, 0 at an end tag, -1 on an error. nEndL and nEndR are set for an empty
// element only.
int XmlDocument::x_ParseStartTag(int iPosParent) {
  const int iPos = x_GetFreePos();
  x_Elem(iPos).Clear();
  x_Elem(iPos).iElemParent = iPosParent;

  const char* doc = m_strDoc.c_str();
  TokenPos token(doc);
  token.nNext = x_Elem(iPosParent).nEndL;
  for (;;) {
    if (!x_FindChar(doc, token.nNext, '<')) return x_ParseError(kNoElementTag);
    const int nStart = token.nNext;
    x_Elem(iPosParent).nEndL = nStart;
    x_Elem(iPos).nStartL = nStart;
    ++token.nNext;
    if (!x_FindAny(doc, token.nNext)) return x_ParseError(kAbruptEnd);
    const char first = doc[token.nNext];
    if (is_quote(first)) return x_ParseError(kStartsWithQuote);
    if (first == '/') return x_ReleasePos();
    if (first != '?' && first != '!') break;
    token.nNext = nStart;
    // An element here is "< ?" with white space inside: it would be met again and again.
    const int nType = x_ParseNode(token);
    if (nType == 0 || nType == MNT_ELEMENT) return x_ParseError(kInvalidNode);
  }
  ++token.nNext;
  if (!x_FindChar(doc, token.nNext, '>')) return x_ParseError(kNoTagEnd);

  ElemPos& elem = x_Elem(iPos);
  elem.nStartR = token.nNext;
  if (doc[elem.nStartR - 1] == '/') {
    elem.nEndL = elem.nStartR - 1;
    elem.nEndR = elem.nStartR;
  }
  return iPos;
}

// Reads the end tag of an open element from its nEndL on. False after setting the error text.
bool XmlDocument::x_ParseEndTag(int iPos) {
  const char* doc = m_strDoc.c_str();
  ElemPos& elem = x_Elem(iPos);
  if (const char* const found = usual_end_tag(doc + elem.nStartL, doc + elem.nEndL)) {
    elem.nEndR = static_cast<int>(found - doc);
    return true;
  }
  const std::string name = x_GetTagName(iPos);
  TokenPos token(doc);
  token.nNext = elem.nEndL;
  if (!x_FindChar(doc, token.nNext, '<')) return x_ParseError(kNoEndTag, name.c_str()) > 0;
  ++token.nNext;
  for (int nTokens = 1; x_FindToken(token); ++nTokens) {
    if (token.bIsString) continue;
    if (nTokens == 1 && doc[token.nL] != '/') return x_ParseError(kNotAnEndTag, name.c_str()) > 0;
    if (nTokens == 2 && !token.Match(name.c_str())) return x_ParseError(kOtherEndTag, name.c_str()) > 0;
    if (nTokens > 2 && doc[token.nL] == '>') {
      elem.nEndR = token.nL;
      return true;
    }
  }
  return x_ParseError(kOpenEndTag, name.c_str()) > 0;
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
  if (is_quote(doc[n])) {
    const char quote = doc[n];
    token.bIsString = true;
    token.nL = ++n;
    x_FindChar(doc, n, quote);
    token.nR = n - 1;
    token.nNext = doc[n] == '\0' ? n : n + 1;
    return true;
  }
  token.nL = n;
  if (!is_delimiter(doc[n])) {  // one of those is a token of its own
    while (!is_delimiter(doc[n + 1])) ++n;
  }
  ++n;
  token.nR = n - 1;
  token.nNext = n;
  return true;
}

bool XmlDocument::x_IsNamed(int iPos, const char* szName) const {
  const char* name = m_strDoc.c_str() + x_Elem(iPos).nStartL + 1;
  if (is_delimiter(*name) || is_quote(*name)) {  // what no usual name starts with
    TokenPos token(m_strDoc.c_str());
    token.nNext = x_Elem(iPos).nStartL + 1;
    return x_FindToken(token) && token.Match(szName);
  }
  for (; !is_delimiter(*name); ++name, ++szName) {
    if (*name != *szName) return false;
  }
  return ends_name(*szName);
}

bool XmlDocument::x_FindAny(const char* szDoc, int& nChar) {
  while (is_whitespace(szDoc[nChar])) ++nChar;
  return szDoc[nChar] != '\0';
}

bool XmlDocument::x_FindChar(const char* szDoc, int& nChar, char c) {
  for (const int nNear = nChar + kNear; nChar < nNear; ++nChar) {
    if (szDoc[nChar] == c) return true;
    if (szDoc[nChar] == '\0') return false;
  }
  const char* from = szDoc + nChar;
  const char* found = std::strchr(from, c);
  nChar += static_cast<int>(found == nullptr ? std::strlen(from) : static_cast<std::size_t>(found - from));
  return found != nullptr;
}

int XmlDocument::x_GetFreePos() {
  if (static_cast<std::size_t>(m_iPosFree) == m_aPos.size()) m_aPos.resize(m_aPos.size() + m_aPos.size() / 2);
  return m_iPosFree++;
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
