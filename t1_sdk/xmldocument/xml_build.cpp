// XML document: adding elements.
#include <cstdio>

#include "t1_sdk/xmldocument/xml_document.h"

namespace {

int length_of(const std::string& text) {
  return static_cast<int>(text.size());
}

}  // namespace

bool XmlDocument::AddElem(const char* szName, const char* szData) {
  return x_AddElem(szName, szData, false, false);
}

bool XmlDocument::AddChildElem(const char* szName, const char* szData) {
  return x_AddElem(szName, szData, false, true);
}

bool XmlDocument::AddChildElem(const char* szName, int nValue) {
  char number[16];
  std::snprintf(number, sizeof number, "%d", nValue);
  return x_AddElem(szName, number, false, true);
}

bool XmlDocument::x_AddElem(const char* szName, const char* szValue, bool bInsert, bool bAddChild) {
  if (szName == nullptr || *szName == '\0') return false;
  if (bAddChild && m_iPos == 0) return false;
  const int iPosParent = bAddChild ? m_iPos : m_iPosParent;
  int iPosRel = bAddChild ? m_iPosChild : m_iPos;
  if (iPosParent == 0) {
    if (IsWellFormed()) return false;  // one root
    x_Elem(0).nEndL = length_of(m_strDoc);
  }
  int nOffset = 0;
  x_LocateNew(iPosParent, iPosRel, nOffset, 0, bInsert ? 1 : 0);

  const int iPos = x_GetFreePos();
  ElemPos& elem = x_Elem(iPos);
  ElemPos& parent = x_Elem(iPosParent);
  elem.Clear();
  elem.iElemParent = iPosParent;
  int& link = iPosRel != 0 ? x_Elem(iPosRel).iElemNext : parent.iElemChild;
  elem.iElemNext = link;
  link = iPos;

  const bool bEmptyParent = iPosParent != 0 && parent.IsEmptyElement();
  const bool bNoContent = bEmptyParent || (iPosParent != 0 && parent.nStartR + 1 == parent.nEndL);
  if (bNoContent) nOffset += 2;  // behind a line end of the parent's

  std::string text = std::string("<") + szName;
  elem.nStartL = nOffset;
  elem.nStartR = nOffset + length_of(text);
  if (szValue != nullptr && *szValue != '\0') {
    text.append(">").append(x_TextToDoc(szValue, false));
    elem.nEndL = nOffset + length_of(text);
    text.append("</").append(szName);
    elem.nEndR = nOffset + length_of(text);
    text.append(">\r\n");
  } else {
    elem.nEndL = elem.nStartR++;
    elem.nEndR = elem.nStartR;
    text.append("/>\r\n");
  }

  int nLeft = nOffset;
  int nReplace = 0;
  std::string before;
  if (bNoContent) {
    nLeft -= 2;
    before = "\r\n";
  }
  if (bEmptyParent) {  // its '/' makes room for the content, its '>' ends the new end tag
    const std::string name = x_GetTagName(iPosParent);
    --nLeft;
    nReplace = 1;
    before = ">\r\n";
    text.append("</").append(name);
    --parent.nStartR;
    parent.nEndL = parent.nEndR - length_of(name) - 2;
  }
  text = before.append(text);
  x_DocChange(nLeft, nReplace, text);
  x_Adjust(iPos, length_of(text) - nReplace, false);

  if (bAddChild) {
    x_SetPos(m_iPosParent, m_iPos, iPos);
  } else {
    x_SetPos(m_iPosParent, iPos, 0);
  }
  return true;
}

// Finds where a new element goes: nOffset into the text, iPosRel to the sibling before it (0: it is the
// first child). nFlags 1 inserts before the reference or first, 0 appends behind it or last.
void XmlDocument::x_LocateNew(int iPosParent, int& iPosRel, int& nOffset, int nLength, int nFlags) const {
  const bool bInsert = (nFlags & 1) != 0;
  const ElemPos& parent = x_Elem(iPosParent);
  const bool bEmptyParent = iPosParent != 0 && parent.IsEmptyElement();
  const int iReference = iPosRel;
  if (iReference != 0) {
    nOffset = bInsert ? x_Elem(iReference).nStartL : x_Elem(iReference).nEndR + 1;
  } else if (bEmptyParent) {
    nOffset = parent.nStartR;
  } else if (bInsert) {
    nOffset = iPosParent != 0 ? parent.nStartR + 1 : 0;
  } else {
    nOffset = parent.nEndL;
  }
  nOffset += nLength;

  if (!bEmptyParent) {
    int n = nOffset;
    if (!x_FindAny(m_strDoc.c_str(), n) || m_strDoc[static_cast<std::size_t>(n)] == '<') nOffset = n;
  }

  if (iReference != 0 && !bInsert) return;
  int iPrevious = 0;
  if (iReference != 0 || !bInsert) {
    for (int i = parent.iElemChild; i != iReference; i = x_Elem(i).iElemNext) iPrevious = i;
  }
  iPosRel = iPrevious;
}

// Shifts all that follows iPos in the text; iPos itself stays. bAfterPos leaves its children alone too.
void XmlDocument::x_Adjust(int iPos, int nShift, bool bAfterPos) {
  int iAncestor = x_Elem(iPos).iElemParent;  // the next element of which only the end is still to come
  bool bDescend = !bAfterPos;
  do {
    if (iPos == iAncestor) {
      iAncestor = x_Elem(iPos).iElemParent;
      bDescend = false;
    }
    if (bDescend && x_Elem(iPos).iElemChild != 0) {
      iPos = x_Elem(iPos).iElemChild;
    } else {
      while (iPos != 0 && x_Elem(iPos).iElemNext == 0) {
        iPos = x_Elem(iPos).iElemParent;
        if (iPos == iAncestor) break;
      }
      if (iPos != 0 && iPos != iAncestor) iPos = x_Elem(iPos).iElemNext;
    }
    bDescend = true;

    ElemPos& elem = x_Elem(iPos);
    if (iPos != 0 && iPos != iAncestor) elem.AdjustStart(nShift);
    elem.AdjustEnd(nShift);
  } while (iPos != 0);
}

void XmlDocument::x_DocChange(int nLeft, int nReplace, const std::string& strInsert) {
  m_strDoc.replace(static_cast<std::size_t>(nLeft), static_cast<std::size_t>(nReplace), strInsert);
}
