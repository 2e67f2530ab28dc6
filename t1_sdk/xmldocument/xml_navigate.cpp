// XML document: moving about and reading.
#include <cstring>

#include "t1_sdk/xmldocument/xml_document.h"
#include "t1_sdk/xmldocument/xml_scan.h"

using xml_scan::is;
using xml_scan::kDelimiter;
using xml_scan::kNameEnd;
using xml_scan::kQuote;
using xml_scan::lacks_at_a_look;

bool XmlDocument::FindElem(const char* szName) {
  const int iPos = x_FindElem(m_iPosParent, m_iPos, szName);
  if (iPos == 0) return false;
  x_SetPos(x_Elem(iPos).iElemParent, iPos, 0);
  return true;
}

bool XmlDocument::FindChildElem(const char* szName) {
  if (m_iPos == 0 && !FindElem()) return false;
  const int iPosChild = x_FindElem(m_iPos, m_iPosChild, szName);
  if (iPosChild == 0) return false;
  x_SetPos(x_Elem(m_iPos).iElemParent, m_iPos, iPosChild);
  return true;
}

bool XmlDocument::IntoElem() {
  if (m_iPos == 0 || m_nNodeType != MNT_ELEMENT) return false;
  x_SetPos(m_iPos, m_iPosChild, 0);
  return true;
}

bool XmlDocument::OutOfElem() {
  if (m_iPosParent == 0) return false;
  x_SetPos(x_Elem(m_iPosParent).iElemParent, m_iPosParent, m_iPos);
  return true;
}

std::string XmlDocument::GetTagName() const {
  return std::string(x_GetTagName(m_iPos));
}

std::string XmlDocument::GetChildData() const {
  return x_GetData(m_iPosChild);
}

inline bool XmlDocument::x_IsNamed(int iPos, const char* szName) const {
  const char* name = m_strDoc.c_str() + x_Elem(iPos).nStartL + 1;
  if (is(*name, kDelimiter | kQuote)) return x_IsNamedUnusually(iPos, szName);
  while (*name == *szName && !is(*name, kDelimiter)) {
    ++name;
    ++szName;
  }
  return is(*name, kDelimiter) && is(*szName, kNameEnd);
}

// The same for a tag that begins with what no usual name begins with.
bool XmlDocument::x_IsNamedUnusually(int iPos, const char* szName) const {
  TokenPos token(m_strDoc.c_str());
  token.nNext = x_Elem(iPos).nStartL + 1;
  return x_FindToken(token) && token.Match(szName);
}

inline int XmlDocument::x_FindElem(int iPosParent, int iPos, const char* szPath) const {
  iPos = iPos != 0 ? x_Elem(iPos).iElemNext : x_Elem(iPosParent).iElemChild;
  if (szPath == nullptr || *szPath == '\0') return iPos;
  for (; iPos != 0; iPos = x_Elem(iPos).iElemNext) {
    if (x_IsNamed(iPos, szPath)) return iPos;
  }
  return 0;
}

std::string_view XmlDocument::x_GetTagName(int iPos) const {
  if (iPos == 0) return "";
  TokenPos token(m_strDoc.c_str());
  token.nNext = x_Elem(iPos).nStartL + 1;
  x_FindToken(token);
  return std::string_view(m_strDoc).substr(static_cast<std::size_t>(token.nL),
                                           static_cast<std::size_t>(token.nR - token.nL + 1));
}

std::string XmlDocument::x_GetData(int iPos) const {
  if (iPos == 0) return "";
  const ElemPos& elem = x_Elem(iPos);
  if (elem.iElemChild != 0 || elem.IsEmptyElement()) return "";
  const char* const doc = m_strDoc.c_str();
  const char* const from = doc + elem.nStartR + 1;
  const char* const to = doc + elem.nEndL;
  if (lacks_at_a_look(from, to, doc + m_strDoc.size(), '<', '&')) return std::string(from, to);
  return x_GetAnyData(elem);
}

// The same of an element that holds any text: a long one, CDATA, one with something to resolve.
std::string XmlDocument::x_GetAnyData(const ElemPos& elem) const {
  static constexpr char kOpen[] = "<![CDATA[";
  const auto nFrom = static_cast<std::size_t>(elem.nStartR + 1);
  if (m_strDoc[nFrom] == '<' && m_strDoc.compare(nFrom, sizeof kOpen - 1, kOpen) == 0) {
    const std::size_t nData = nFrom + sizeof kOpen - 1;
    const std::size_t nClose = m_strDoc.find("]]>", nData);
    return nClose == std::string::npos ? "" : m_strDoc.substr(nData, nClose - nData);
  }
  return x_TextFromDoc(elem.nStartR + 1, elem.nEndL - 1);
}
