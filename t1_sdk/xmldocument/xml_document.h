// The XML document with which every message of the station is read and every reply is built.
//
// The document is one text and, beside it, an index of element positions into that text; there is
// no tree of nodes. Reading: SetDoc, then FindElem, FindChildElem, IntoElem, GetChildData.
// Building: SetDoc with the XML header, then AddElem and AddChildElem, then GetDoc.
// The text is a byte string: multi-byte characters pass through it untouched.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

/// What a node of the document is. Values can be added up to a filter.
enum XmlNodeType {
  MNT_ELEMENT = 1,
  MNT_TEXT = 2,
  MNT_WHITESPACE = 4,
  MNT_CDATA_SECTION = 8,
  MNT_PROCESSING_INSTRUCTION = 16,
  MNT_COMMENT = 32,
  MNT_DOCUMENT_TYPE = 64,
  MNT_EXCLUDE_WHITESPACE = 123,  ///< every type but MNT_WHITESPACE
};

/// Where one element stands in the text (byte offsets) and in the tree (indices; 0 means "none").
/// Entry 0 of the index is the document itself: its nEndL is where the content ends.
struct ElemPos {
  int nStartL = 0;      ///< '<' of the start tag
  int nStartR = 0;      ///< '>' of the start tag
  int nEndL = 0;        ///< '<' of the end tag; in `<a/>` the '/'
  int nEndR = 0;        ///< '>' of the end tag; in `<a/>` equal to nStartR
  int nReserved = 0;    ///< always 0
  int iElemParent = 0;  ///< the parent, 0 for the document
  int iElemChild = 0;   ///< the first child
  int iElemNext = 0;    ///< the next sibling

  /// Forgets all.
  void Clear() { *this = ElemPos(); }
  /// Whether the element stands as `<a/>`.
  bool IsEmptyElement() const { return nStartR == nEndL + 1; }
  /// Moves the start tag by `n` bytes.
  void AdjustStart(int n) {
    nStartL += n;
    nStartR += n;
  }
  /// Moves the end tag by `n` bytes.
  void AdjustEnd(int n) {
    nEndL += n;
    nEndR += n;
  }
};

/// A cursor over the document text.
struct TokenPos {
  /// At the beginning of `text`.
  explicit TokenPos(const char* text) : szDoc(text) {}
  /// Back to the beginning.
  void Clear() { nL = nR = nNext = 0; }
  /// Whether the token is `szName`, up to its end or to one of " =/[" in it.
  bool Match(const char* szName) const;

  int nL = 0;              ///< first character of the token
  int nR = 0;              ///< last character of the token
  int nNext = 0;           ///< where scanning resumes
  const char* szDoc;       ///< the document text
  bool bIsString = false;  ///< the token was in quotation marks, which nL and nR leave out
};

/// A position that was saved under a name.
struct SavedPos {
  int iPosParent = 0;
  int iPos = 0;
  int iPosChild = 0;
};

/// A text and the index of its elements, with a position in it: a parent level, a main element on that level,
/// and a current child of the main element. None of them need be there.
class XmlDocument {
  std::string m_strDoc;

 public:
  /// The text of the last parse error; empty after a SetDoc that met none. Adding a sub-document leaves it
  /// alone.
  std::string m_strError;
  /// The element index. Entry 0 is the document, elements follow from 1.
  std::vector<ElemPos> m_aPos;

  XmlDocument();
  XmlDocument(const XmlDocument&) = delete;
  /// Takes over text, index and position; the error text and the saved positions stay this document's own.
  XmlDocument& operator=(const XmlDocument& other);
  virtual ~XmlDocument();

  /// Replaces the document by a copy of `szDoc` (null empties it), parses it and resets the position.
  /// Returns whether the text is well formed; if not, the text is kept, without elements, and
  /// m_strError says why (it stays empty for an empty text and for one that begins with an end tag). Only
  /// the first top-level element counts.
  bool SetDoc(const char* szDoc);
  /// Whether the document has a top-level element.
  bool IsWellFormed() const;
  /// A copy of the document text.
  std::string GetDoc() const { return m_strDoc; }
  /// The document text itself, as it is until the document changes; nothing to give to the document's own
  /// edits.
  const std::string& DocText() const { return m_strDoc; }

  /// Moves to the next element of this level with that tag name (null or "": any name), or to the
  /// first one when none is current. Returns false and stays where it is when there is none.
  bool FindElem(const char* szName = nullptr);
  /// The same among the children of the main element; without a main element FindElem() comes first.
  bool FindChildElem(const char* szName = nullptr);
  /// Makes the main element the parent level; its current child becomes the main position.
  bool IntoElem();
  /// Makes the parent the main position; what was the main position becomes its current child.
  bool OutOfElem();
  void ResetPos() { x_SetPos(0, 0, 0); }
  void ResetMainPos() { x_SetPos(m_iPosParent, 0, 0); }
  void ResetChildPos() { x_SetPos(m_iPosParent, m_iPos, 0); }

  /// The tag name of the main element, "" without one.
  std::string GetTagName() const;
  /// The text of the current child element with its escapes resolved; CDATA as it stands; "" for an
  /// element that is empty or has children.
  std::string GetChildData() const;

  /// Adds an element behind the main one, or as the last of this level; it becomes the main position.
  /// `szData` is escaped. False for a name that is null or empty, and at document level when there is a
  /// top-level element already.
  bool AddElem(const char* szName, const char* szData = nullptr);
  /// Adds a child of the main element behind the current child, or as its last child; it becomes the
  /// current child. False for a name that is null or empty, and without a main element.
  bool AddChildElem(const char* szName, const char* szData = nullptr);
  /// The same with a decimal number as data.
  bool AddChildElem(const char* szName, int nValue);
  /// As AddElem and AddChildElem, before the current element instead of behind it, or as the first one.
  bool InsertElem(const char* szName, const char* szData = nullptr);
  bool InsertChildElem(const char* szName, const char* szData = nullptr);
  bool InsertChildElem(const char* szName, int nValue);

  /// The value of an attribute with its escapes resolved; "" when the element lacks it or does not quote it,
  /// and for a name that is null or empty.
  std::string GetAttrib(const char* szAttrib) const;
  std::string GetChildAttrib(const char* szAttrib) const;
  /// Changes an attribute, or adds it at the end of the start tag, which is its first '>', even one in
  /// quotes; the value is escaped. False without the element, for a name that is null or empty, and for a
  /// value that is there and reaches beyond its tag.
  bool SetAttrib(const char* szAttrib, const char* szValue);
  bool SetAttrib(const char* szAttrib, int nValue);
  bool SetChildAttrib(const char* szAttrib, const char* szValue);
  bool SetChildAttrib(const char* szAttrib, int nValue);
  /// The name of the main element's n-th attribute, from 0; "" when it has fewer.
  std::string GetAttribName(int n) const;

  /// Replaces what the element holds: by text, which is escaped, or with nCDATA by a CDATA section, unless
  /// the data holds "]]>". False without the element and for one that has children.
  bool SetData(const char* szData, int nCDATA = 0);
  bool SetChildData(const char* szData, int nCDATA = 0);

  /// Removes the element with all that it holds and the line end behind it; the sibling before it becomes
  /// current, if there is one. False without the element.
  bool RemoveElem();
  bool RemoveChildElem();

  /// Saves the position under a name, in place of an earlier one. False for null.
  bool SavePos(const char* szPosName);
  /// Goes back to a saved position, as far as its elements are still there. False for null and an unknown
  /// name.
  bool RestorePos(const char* szPosName);

  /// The element's text with the white space behind it; "" without the element.
  std::string GetSubDoc() const;
  std::string GetChildSubDoc() const;
  /// Adds the first element of a text, with the white space behind it, where AddElem, InsertElem,
  /// AddChildElem and InsertChildElem would add one. False, with nothing changed, where they fail and for a
  /// text that has no whole element.
  bool AddSubDoc(const char* szSubDoc);
  bool InsertSubDoc(const char* szSubDoc);
  bool AddChildSubDoc(const char* szSubDoc);
  bool InsertChildSubDoc(const char* szSubDoc);

  /// Reads a file and parses it as SetDoc does; a file that cannot be read whole or parsed leaves the
  /// document empty and gives false; what could not be parsed is said in m_strError. A pipe gives false at
  /// once.
  bool Load(const char* szFileName);
  /// Writes the text to a file. False when it cannot be opened or written; a pipe that nobody reads is one.
  bool Save(const char* szFileName) const;

 protected:
  int x_ParseElem(int iPosParent);
  const char* x_PastNode(const char* tag, const char* name);
  const char* x_ParseEndTag(int iPos);
  static int x_ParseNode(TokenPos& token);
  /// The next token from nNext on: a word, one delimiter, or the inside of quotation marks, which ends with
  /// the text when they do not close. False at the end of the text.
  static bool x_FindToken(TokenPos& token);
  /// Moves `nChar` behind whitespace. False at the end of the text.
  static bool x_FindAny(const char* szDoc, int& nChar);
  /// Moves `nChar` to the next `c`, or to the end of the text: false.
  static bool x_FindChar(const char* szDoc, int& nChar, char c);
  /// The next sibling of `iPos`, without one the first child of `iPosParent`, that has the name, or any when
  /// the name is null or empty. 0 when there is none.
  int x_FindElem(int iPosParent, int iPos, const char* szPath) const;
  int x_GetFreePos() {
    if (static_cast<std::size_t>(m_iPosFree) == m_aPos.size()) x_GrowIndex();
    return m_iPosFree++;
  }
  void x_GrowIndex();
  int x_NextPos();
  void x_MoreRoom();
  int x_ReleasePos();
  int x_ParseError(const char* szError, const char* szName = nullptr);
  void x_SetPos(int iPosParent, int iPos, int iPosChild) {
    m_iPosParent = iPosParent;
    m_iPos = iPos;
    m_iPosChild = iPosChild;
    m_nNodeType = iPos != 0 ? MNT_ELEMENT : 0;
  }
  void x_LocateNew(int iPosParent, int& iPosRel, int& nOffset, int nLength, int nFlags) const;
  void x_Adjust(int iPos, int nShift, bool bAfterPos);
  void x_DocChange(int nLeft, int nReplace, const std::string& strInsert);
  void x_MakeRoom(int nLeft, int nReplace, int nInsert);
  bool x_AddElem(const char* szName, const char* szValue, bool bInsert, bool bAddChild);
  /// Whether an element may be added: its parent and the element that its place is relative to.
  bool x_PlaceForNew(bool bAddChild, int& iPosParent, int& iPosRel);
  /// Makes room for the text of a new element, whose positions in that text `shape` holds, and links it. Its
  /// index; its text is then written at x_Text of that.
  int x_Splice(int iPosParent, int iPosRel, bool bInsert, int nLength, const ElemPos& shape);
  void x_MakeCurrent(int iPos, bool bAddChild);
  bool x_AddSubDoc(const char* szSubDoc, bool bInsert, bool bAddChild);
  std::string x_GetSubDoc(int iPos) const;
  bool x_FindAttrib(TokenPos& token, const char* szAttrib) const;
  std::string x_GetAttrib(int iPos, const char* szAttrib) const;
  bool x_SetAttrib(int iPos, const char* szAttrib, const char* szValue);
  bool x_SetData(int iPos, const char* szData, int nCDATA);
  static std::string x_CreateNode(int nNodeType, const char* szText);
  int x_RemoveElem(int iPos);
  void x_ClearRemoved(int iPos);
  int x_EndWithSpace(int iPos) const;
  bool x_IsChild(int iPos, int iPosParent) const;
  /// As it stands in the text, until that changes.
  std::string_view x_GetTagName(int iPos) const;
  /// Whether the first token of the element's tag matches a name.
  bool x_IsNamed(int iPos, const char* szName) const;
  bool x_IsNamedUnusually(int iPos, const char* szName) const;
  std::string x_GetData(int iPos) const;
  /// Apart from the above, which then has no registers to save for it.
  [[gnu::noinline]] std::string x_GetAnyData(const ElemPos& elem) const;
  static std::string x_TextToDoc(const char* szText, bool bAttrib);
  std::string x_TextFromDoc(int nLeft, int nRight) const;

  static int x_Length(std::string_view strText) { return static_cast<int>(strText.size()); }
  char* x_Text(int iPos) { return m_strDoc.data() + x_Elem(iPos).nStartL; }
  /// Where in the text that is.
  int x_At(const char* szPlace) const { return static_cast<int>(szPlace - m_strDoc.c_str()); }
  ElemPos& x_Elem(int iPos) { return m_aPos[static_cast<std::size_t>(iPos)]; }
  const ElemPos& x_Elem(int iPos) const { return m_aPos[static_cast<std::size_t>(iPos)]; }

 private:
  int m_iPosParent = 0;  ///< parent of the main position, 0 at document level
  int m_iPos = 0;        ///< main element
  int m_iPosChild = 0;   ///< current child of the main element
  int m_iPosFree = 1;    ///< next unused index
  int m_nNodeType = 0;   ///< MNT_ELEMENT with a main element, else 0
  std::map<std::string, SavedPos> m_mapSavedPos;
};
