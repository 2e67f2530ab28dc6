// XML document: adding elements.
#include <cstring>
#include <string_view>

#include "t1_sdk/xmldocument/xml_document.h"
#include "t1_sdk/xmldocument/xml_scan.h"

using xml_scan::find_any;
using xml_scan::is;
using xml_scan::kSpace;

namespace {

/// Bytes that the text of most messages needs no more than: they are allocated once.
constexpr std::size_t kUsualText = 1000;

/// Copies so many bytes at either end, which may be the same ones in part.
template <std::size_t kCount>
void copy_ends(char* to, const char* from, std::size_t length) {
  char first[kCount];
  char last[kCount];
  std::memcpy(first, from, kCount);
  std::memcpy(last, from + length - kCount, kCount);
  std::memcpy(to, first, kCount);
  std::memcpy(to + length - kCount, last, kCount);
}

/// memmove without its call for what is as short as most pieces of an element.
inline void move(char* to, const char* from, std::size_t length) {
  if (length > 32)
    std::memmove(to, from, length);
  else if (length >= 16)
    copy_ends<16>(to, from, length);
  else if (length >= 8)
    copy_ends<8>(to, from, length);
  else if (length >= 4)
    copy_ends<4>(to, from, length);
  else if (length >= 2)
    copy_ends<2>(to, from, length);
  else if (length == 1)
    *to = *from;
}

/// Writes a piece of text. Returns the place behind it.
inline char* put(char* to, std::string_view piece) {
  move(to, piece.data(), piece.size());
  return to + piece.size();
}

/// Whether a text has characters that are escaped.
inline bool has_markup(std::string_view text) {
  const char* const end = text.data() + text.size();
  return find_any(text.data(), end, '<', '&', '>') != end;
}

}  // namespace

bool XmlDocument::AddElem(const char* szName, const char* szData) {
  return x_AddElem(szName, szData, false, false);
}

bool XmlDocument::AddChildElem(const char* szName, const char* szData) {
  return x_AddElem(szName, szData, false, true);
}

bool XmlDocument::AddChildElem(const char* szName, int nValue) {
  return x_AddElem(szName, std::to_string(nValue).c_str(), false, true);
}

bool XmlDocument::InsertElem(const char* szName, const char* szData) {
  return x_AddElem(szName, szData, true, false);
}

bool XmlDocument::InsertChildElem(const char* szName, const char* szData) {
  return x_AddElem(szName, szData, true, true);
}

bool XmlDocument::InsertChildElem(const char* szName, int nValue) {
  return x_AddElem(szName, std::to_string(nValue).c_str(), true, true);
}

bool XmlDocument::x_AddElem(const char* szName, const char* szValue, bool bInsert, bool bAddChild) {
  int iPosParent = 0;
  int iPosRel = 0;
  if (szName == nullptr || *szName == '\0' || !x_PlaceForNew(bAddChild, iPosParent, iPosRel)) return false;
  const std::string_view name = szName;
  std::string_view value = szValue == nullptr ? "" : szValue;
  std::string escaped;
  if (has_markup(value)) value = escaped = x_TextToDoc(szValue, false);
  ElemPos elem;
  elem.nStartR = 1 + x_Length(name);
  if (value.empty()) {
    elem.nEndL = elem.nStartR++;
    elem.nEndR = elem.nStartR;
  } else {
    elem.nEndL = elem.nStartR + 1 + x_Length(value);
    elem.nEndR = elem.nEndL + 2 + x_Length(name);
  }
  static constexpr std::string_view kEnd = ">\r\n";
  const int iPos = x_Splice(iPosParent, iPosRel, bInsert, elem.nEndR + x_Length(kEnd), elem);
  char* to = put(put(x_Text(iPos), "<"), name);
  to = value.empty() ? put(to, "/") : put(put(put(put(to, ">"), value), "</"), name);
  put(to, kEnd);
  x_MakeCurrent(iPos, bAddChild);
  return true;
}

bool XmlDocument::x_AddSubDoc(const char* szSubDoc, bool bInsert, bool bAddChild) {
  int iPosParent = 0;
  int iPosRel = 0;
  if (szSubDoc == nullptr || !x_PlaceForNew(bAddChild, iPosParent, iPosRel)) return false;
  // Parsed on its own first, so that a broken text never touches this document. Nodes before the element and
  // whatever follows it are left out, as SetDoc leaves them out of the index.
  XmlDocument sub;
  if (!sub.SetDoc(szSubDoc)) return false;
  constexpr int kRoot = 1;
  const int nStart = sub.x_Elem(kRoot).nStartL;
  ElemPos root = sub.x_Elem(kRoot);
  root.AdjustStart(-nStart);
  root.AdjustEnd(-nStart);
  const std::string text = sub.x_GetSubDoc(kRoot);
  const int iPos = x_Splice(iPosParent, iPosRel, bInsert, x_Length(text), root);
  put(x_Text(iPos), text);

  // Indices of the sub-document follow one another from its root on, and so do the new ones here.
  const int nShift = x_Elem(iPos).nStartL - nStart;
  const auto moved = [iPos](int link) { return link == 0 ? 0 : link - kRoot + iPos; };
  x_Elem(iPos).iElemChild = moved(root.iElemChild);
  for (int i = kRoot + 1; i < sub.m_iPosFree; ++i) {
    ElemPos elem = sub.x_Elem(i);
    elem.AdjustStart(nShift);
    elem.AdjustEnd(nShift);
    elem.iElemParent = moved(elem.iElemParent);
    elem.iElemChild = moved(elem.iElemChild);
    elem.iElemNext = moved(elem.iElemNext);
    const int iNew = x_GetFreePos();
    x_Elem(iNew) = elem;
  }
  x_MakeCurrent(iPos, bAddChild);
  return true;
}

bool XmlDocument::AddSubDoc(const char* szSubDoc) {
  return x_AddSubDoc(szSubDoc, false, false);
}

bool XmlDocument::InsertSubDoc(const char* szSubDoc) {
  return x_AddSubDoc(szSubDoc, true, false);
}

bool XmlDocument::AddChildSubDoc(const char* szSubDoc) {
  return x_AddSubDoc(szSubDoc, false, true);
}

bool XmlDocument::InsertChildSubDoc(const char* szSubDoc) {
  return x_AddSubDoc(szSubDoc, true, true);
}

bool XmlDocument::x_PlaceForNew(bool bAddChild, int& iPosParent, int& iPosRel) {
  if (bAddChild && m_iPos == 0) return false;
  iPosParent = bAddChild ? m_iPos : m_iPosParent;
  iPosRel = bAddChild ? m_iPosChild : m_iPos;
  return iPosParent != 0 || !IsWellFormed();  // one root
}

int XmlDocument::x_Splice(int iPosParent, int iPosRel, bool bInsert, int nLength, const ElemPos& shape) {
  if (iPosParent == 0) x_Elem(0).nEndL = x_Length(m_strDoc);  // a root goes behind all that is there
  int nOffset = 0;
  x_LocateNew(iPosParent, iPosRel, nOffset, 0, bInsert ? 1 : 0);

  const int iPos = x_GetFreePos();
  ElemPos& elem = x_Elem(iPos);
  ElemPos& parent = x_Elem(iPosParent);
  elem = shape;
  elem.iElemParent = iPosParent;
  elem.iElemChild = 0;
  int& link = iPosRel != 0 ? x_Elem(iPosRel).iElemNext : parent.iElemChild;
  elem.iElemNext = link;
  link = iPos;

  const bool bEmptyParent = iPosParent != 0 && parent.IsEmptyElement();
  const bool bNoContent = bEmptyParent || (iPosParent != 0 && parent.nStartR + 1 == parent.nEndL);
  int nLeft = nOffset;
  int nReplace = 0;
  std::string_view before;
  std::string after;
  if (bNoContent) {  // behind a line end of the parent's
    nOffset += 2;
    before = "\r\n";
  }
  elem.AdjustStart(nOffset);
  elem.AdjustEnd(nOffset);
  if (bEmptyParent) {  // its '/' makes room for the content, its '>' ends the new end tag
    --nLeft;
    nReplace = 1;
    before = ">\r\n";
    after.append("</").append(x_GetTagName(iPosParent));
    --parent.nStartR;
    parent.nEndL = parent.nEndR - x_Length(after);
  }
  const int nInsert = x_Length(before) + nLength + x_Length(after);
  x_MakeRoom(nLeft, nReplace, nInsert);
  put(put(m_strDoc.data() + nLeft, before) + nLength, after);
  x_Adjust(iPos, nInsert - nReplace, false);
  return iPos;
}

void XmlDocument::x_MakeCurrent(int iPos, bool bAddChild) {
  if (bAddChild) {
    x_SetPos(m_iPosParent, m_iPos, iPos);
  } else {
    x_SetPos(m_iPosParent, iPos, 0);
  }
}

// Finds where a new element goes: nOffset into the text, iPosRel to the sibling before it (0: it is the
// first child). nFlags 1 inserts before the reference or first, 0 appends behind it or last.
inline void XmlDocument::x_LocateNew(int iPosParent, int& iPosRel, int& nOffset, int nLength,
                                     int nFlags) const {
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
    const char* next = m_strDoc.c_str() + nOffset;
    while (is(*next, kSpace)) ++next;
    if (*next == '<' || *next == '\0') nOffset = x_At(next);
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
  while (x_Elem(iPos).iElemNext == 0 && (bAfterPos || x_Elem(iPos).iElemChild == 0)) {
    iPos = x_Elem(iPos).iElemParent;  // mostly there are the ends of ancestors alone
    x_Elem(iPos).AdjustEnd(nShift);
    if (iPos == 0) return;
    bAfterPos = true;
  }
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
  if (m_strDoc.capacity() < kUsualText) m_strDoc.reserve(kUsualText);
  m_strDoc.replace(static_cast<std::size_t>(nLeft), static_cast<std::size_t>(nReplace), strInsert);
}

// The same with a text that is written later.
inline void XmlDocument::x_MakeRoom(int nLeft, int nReplace, int nInsert) {
  if (m_strDoc.capacity() < kUsualText) m_strDoc.reserve(kUsualText);
  const std::size_t nSize = m_strDoc.size();
  const std::size_t nTail = nSize - static_cast<std::size_t>(nLeft + nReplace);
  const auto nMore = static_cast<std::size_t>(nInsert - nReplace);
  // Mostly a few end tags follow: repeating the last characters of the text brings them to its new end at
  // once.
  if (nTail <= nMore && nMore <= nSize) {
    m_strDoc.append(m_strDoc, nSize - nMore, nMore);
    return;
  }
  m_strDoc.append(nMore, ' ');
  char* const place = m_strDoc.data() + nLeft;
  move(place + nInsert, place + nReplace, nTail);
}
