// XML document: attributes, data, removal, saved positions, assignment.
#include <cstring>

#include "t1_sdk/xmldocument/xml_document.h"

namespace {

constexpr char kCdataOpen[] = "<![CDATA[";
constexpr char kCdataClose[] = "]]>";

}  // namespace

XmlDocument& XmlDocument::operator=(const XmlDocument& other) {
  m_strDoc = other.m_strDoc;
  m_aPos = other.m_aPos;
  m_iPosFree = other.m_iPosFree;
  x_SetPos(other.m_iPosParent, other.m_iPos, other.m_iPosChild);
  return *this;
}

// ---- attributes

// Scans the tag from nNext on, its name being token 0. Found: the cursor holds the inside of the value, or
// without a name that of the next attribute.
bool XmlDocument::x_FindAttrib(TokenPos& token, const char* szAttrib) const {
  const bool bAnyName = szAttrib == nullptr || *szAttrib == '\0';
  int nFound = 0;  // count of the name that matched
  for (int nCount = 0; x_FindToken(token); ++nCount) {
    const char first = token.szDoc[token.nL];
    if (token.bIsString) {
      if (nFound != 0 && nCount == nFound + 2) return true;
      continue;
    }
    if (first == '>' || first == '/' || first == '?') return false;
    if (first == '=' || nCount == 0 || nFound != 0) continue;
    if (bAnyName) return true;
    if (token.Match(szAttrib)) nFound = nCount;
  }
  return false;
}

std::string XmlDocument::x_GetAttrib(int iPos, const char* szAttrib) const {
  if (iPos == 0 || m_nNodeType != MNT_ELEMENT || szAttrib == nullptr || *szAttrib == '\0') return "";
  TokenPos token(m_strDoc.c_str());
  token.nNext = x_Elem(iPos).nStartL + 1;
  return x_FindAttrib(token, szAttrib) ? x_TextFromDoc(token.nL, token.nR) : "";
}

bool XmlDocument::x_SetAttrib(int iPos, const char* szAttrib, const char* szValue) {
  if (iPos == 0 || m_nNodeType != MNT_ELEMENT || szAttrib == nullptr || *szAttrib == '\0') return false;
  ElemPos& elem = x_Elem(iPos);
  std::string text = x_TextToDoc(szValue == nullptr ? "" : szValue, true);
  TokenPos token(m_strDoc.c_str());
  token.nNext = elem.nStartL + 1;
  int nLeft = 0;
  int nReplace = 0;
  if (x_FindAttrib(token, szAttrib)) {
    if (token.nR >= elem.nStartR)
      return false;  // a '>' in quotes has ended the tag: there is content in the value
    nLeft = token.nL;
    nReplace = token.nR - token.nL + 1;
  } else {
    nLeft = elem.nStartR - (elem.IsEmptyElement() ? 1 : 0);
    text = std::string(" ") + szAttrib + "=\"" + text + "\"";
  }
  const int nShift = x_Length(text) - nReplace;
  x_DocChange(nLeft, nReplace, text);
  elem.nStartR += nShift;
  elem.AdjustEnd(nShift);
  x_Adjust(iPos, nShift, false);
  return true;
}

std::string XmlDocument::GetAttrib(const char* szAttrib) const {
  return x_GetAttrib(m_iPos, szAttrib);
}

std::string XmlDocument::GetChildAttrib(const char* szAttrib) const {
  return x_GetAttrib(m_iPosChild, szAttrib);
}

bool XmlDocument::SetAttrib(const char* szAttrib, const char* szValue) {
  return x_SetAttrib(m_iPos, szAttrib, szValue);
}

bool XmlDocument::SetAttrib(const char* szAttrib, int nValue) {
  return x_SetAttrib(m_iPos, szAttrib, std::to_string(nValue).c_str());
}

bool XmlDocument::SetChildAttrib(const char* szAttrib, const char* szValue) {
  return x_SetAttrib(m_iPosChild, szAttrib, szValue);
}

bool XmlDocument::SetChildAttrib(const char* szAttrib, int nValue) {
  return x_SetAttrib(m_iPosChild, szAttrib, std::to_string(nValue).c_str());
}

std::string XmlDocument::GetAttribName(int n) const {
  if (n < 0 || m_nNodeType != MNT_ELEMENT) return "";
  TokenPos token(m_strDoc.c_str());
  token.nNext = x_Elem(m_iPos).nStartL + 1;
  for (int i = 0; i <= n; ++i) {
    if (!x_FindAttrib(token, nullptr)) return "";
  }
  return m_strDoc.substr(static_cast<std::size_t>(token.nL),
                         static_cast<std::size_t>(token.nR - token.nL + 1));
}

// ---- data

std::string XmlDocument::x_CreateNode(int nNodeType, const char* szText) {
  if (nNodeType != MNT_CDATA_SECTION || std::strstr(szText, kCdataClose) != nullptr) {
    return x_TextToDoc(szText, false);
  }
  return std::string(kCdataOpen) + szText + kCdataClose;
}

bool XmlDocument::x_SetData(int iPos, const char* szData, int nCDATA) {
  if (iPos == 0 || x_Elem(iPos).iElemChild != 0) return false;
  ElemPos& elem = x_Elem(iPos);
  std::string text =
      x_CreateNode(nCDATA != 0 ? MNT_CDATA_SECTION : MNT_TEXT, szData == nullptr ? "" : szData);
  const int nOldEnd = elem.nEndR;
  if (elem.IsEmptyElement()) {  // its '/' makes room for the content, its '>' ends the new end tag
    const std::string name(x_GetTagName(iPos));
    text = ">" + text + "</" + name;
    x_DocChange(elem.nEndL, 1, text);
    --elem.nStartR;
    elem.nEndR += x_Length(text) - 1;
    elem.nEndL = elem.nEndR - x_Length(name) - 2;
  } else {
    const int nLength = elem.nEndL - elem.nStartR - 1;
    x_DocChange(elem.nStartR + 1, nLength, text);
    elem.AdjustEnd(x_Length(text) - nLength);
  }
  x_Adjust(iPos, elem.nEndR - nOldEnd, false);
  return true;
}

bool XmlDocument::SetData(const char* szData, int nCDATA) {
  return x_SetData(m_iPos, szData, nCDATA);
}

bool XmlDocument::SetChildData(const char* szData, int nCDATA) {
  return x_SetData(m_iPosChild, szData, nCDATA);
}

// ---- elements

/// Where the text of an element ends, with the white space behind it when a tag or the end of the text
/// follows.
int XmlDocument::x_EndWithSpace(int iPos) const {
  const int nEnd = x_Elem(iPos).nEndR + 1;
  int n = nEnd;
  const bool bMore = x_FindAny(m_strDoc.c_str(), n);
  return bMore && m_strDoc[static_cast<std::size_t>(n)] != '<' ? nEnd : n;
}

std::string XmlDocument::x_GetSubDoc(int iPos) const {
  if (iPos == 0) return "";
  const int nStart = x_Elem(iPos).nStartL;
  return m_strDoc.substr(static_cast<std::size_t>(nStart),
                         static_cast<std::size_t>(x_EndWithSpace(iPos) - nStart));
}

std::string XmlDocument::GetSubDoc() const {
  return x_GetSubDoc(m_iPos);
}

std::string XmlDocument::GetChildSubDoc() const {
  return x_GetSubDoc(m_iPosChild);
}

// Returns the sibling before the removed element, 0 when it was the first.
int XmlDocument::x_RemoveElem(int iPos) {
  const int iPosParent = x_Elem(iPos).iElemParent;
  int iPrevious = 0;
  for (int i = x_Elem(iPosParent).iElemChild; i != iPos; i = x_Elem(i).iElemNext) iPrevious = i;
  int& link = iPrevious != 0 ? x_Elem(iPrevious).iElemNext : x_Elem(iPosParent).iElemChild;
  link = x_Elem(iPos).iElemNext;

  const int nLeft = x_Elem(iPos).nStartL;
  const int nLength = x_EndWithSpace(iPos) - nLeft;
  x_DocChange(nLeft, nLength, "");
  x_Adjust(iPos, -nLength, true);
  x_ClearRemoved(iPos);
  return iPrevious;
}

// A removed element and all in it lose their places, which lie beyond the text by now, so that a saved
// position finds nothing there. Their indices are not used again. Goes from child to parent without a stack.
void XmlDocument::x_ClearRemoved(int iPos) {
  int i = iPos;
  for (;;) {
    if (const int iChild = x_Elem(i).iElemChild; iChild != 0) {
      x_Elem(i).iElemChild = x_Elem(iChild).iElemNext;
      i = iChild;
      continue;
    }
    const int iParent = x_Elem(i).iElemParent;
    x_Elem(i).Clear();
    if (i == iPos) return;
    i = iParent;
  }
}

bool XmlDocument::RemoveElem() {
  if (m_iPos == 0 || m_nNodeType != MNT_ELEMENT) return false;
  x_SetPos(m_iPosParent, x_RemoveElem(m_iPos), 0);
  return true;
}

bool XmlDocument::RemoveChildElem() {
  if (m_iPosChild == 0) return false;
  x_SetPos(m_iPosParent, m_iPos, x_RemoveElem(m_iPosChild));
  return true;
}

// ---- saved positions

bool XmlDocument::SavePos(const char* szPosName) {
  if (szPosName == nullptr) return false;
  m_mapSavedPos[szPosName] = {m_iPosParent, m_iPos, m_iPosChild};
  return true;
}

/// Whether there is such an element and that is its parent (0: the document).
bool XmlDocument::x_IsChild(int iPos, int iPosParent) const {
  return iPos > 0 && iPos < m_iPosFree && x_Elem(iPos).nEndR > 0 && x_Elem(iPos).iElemParent == iPosParent;
}

// Edits leave saved positions as they are, and an assignment brings another index: what is no longer there is
// no position.
bool XmlDocument::RestorePos(const char* szPosName) {
  if (szPosName == nullptr) return false;
  const auto found = m_mapSavedPos.find(szPosName);
  if (found == m_mapSavedPos.end()) return false;
  SavedPos pos = found->second;
  const bool bParent =
      pos.iPosParent == 0 || (pos.iPosParent < m_iPosFree && x_Elem(pos.iPosParent).nEndR > 0);
  if (!bParent) pos = {};
  if (!x_IsChild(pos.iPos, pos.iPosParent)) pos.iPos = 0;
  if (pos.iPos == 0 || !x_IsChild(pos.iPosChild, pos.iPos)) pos.iPosChild = 0;
  x_SetPos(pos.iPosParent, pos.iPos, pos.iPosChild);
  return true;
}
