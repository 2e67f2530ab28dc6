// A plain model of a document that is edited: a tree whose nodes hold the text between their children as it
// stands. What an edited document must be equal to after each operation.
#pragma once

#include <algorithm>
#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace xml_support {

/// The text with its markup escaped; in an attribute the quotation marks too.
inline std::string escaped(const std::string& data, bool in_attribute = false) {
  std::string text;
  for (const char c : data) {
    if (c == '<')
      text += "&lt;";
    else if (c == '>')
      text += "&gt;";
    else if (c == '&')
      text += "&amp;";
    else if (c == '\'' && in_attribute)
      text += "&apos;";
    else if (c == '"' && in_attribute)
      text += "&quot;";
    else
      text += c;
  }
  return text;
}

/// The inverse of that, with the numeric references that the documents by chance have. Others stay as they
/// are.
inline std::string unescaped(const std::string& text) {
  static const std::pair<std::string, std::string> kEscapes[] = {
      {"&lt;", "<"},    {"&amp;", "&"},         {"&gt;", ">"},          {"&apos;", "'"},
      {"&quot;", "\""}, {"&#65;", "A"},         {"&#x7e;", "~"},        {"&#60;", "<"},
      {"&#38;", "&"},   {"&#300;", "\xC4\xAC"}, {"&#xE9;", "\xC3\xA9"}, {"&#x4E2D;", "\xE4\xB8\xAD"}};
  std::string data;
  for (std::size_t i = 0; i < text.size();) {
    std::size_t taken = 1;
    std::string meaning(1, text[i]);
    for (const auto& [escape, stands_for] : kEscapes) {
      if (text.compare(i, escape.size(), escape) != 0) continue;
      taken = escape.size();
      meaning = stands_for;
    }
    data += meaning;
    i += taken;
  }
  return data;
}

/// A word of a start tag: a name, a mark of its own, or what stands in quotation marks.
struct ModelToken {
  std::size_t begin = 0;
  std::size_t end = 0;  ///< behind its last character, before the closing mark
  bool quoted = false;
  std::string text;

  /// Whether it is the end of a tag.
  bool ends_tag() const {
    return !quoted && !text.empty() && std::string(">/?").find(text[0]) != std::string::npos;
  }
  bool is_name() const { return !quoted && text != "="; }
};

/// The next word from `at` on, and `at` behind it; nothing at the end of the text.
inline std::optional<ModelToken> next_token(const std::string& text, std::size_t& at) {
  static const std::string kBlanks = " \t\r\n";
  static const std::string kMarks = "<>=\\/?!";
  const auto found = [&](std::size_t place) { return place == std::string::npos ? text.size() : place; };
  at = found(text.find_first_not_of(kBlanks, at));
  if (at == text.size()) return std::nullopt;
  ModelToken token;
  token.quoted = text[at] == '"' || text[at] == '\'';
  if (token.quoted) {
    token.begin = at + 1;
    token.end = found(text.find(text[at], token.begin));
  } else {
    token.begin = at;
    const bool alone = kMarks.find(text[at]) != std::string::npos;
    token.end = alone ? at + 1 : found(text.find_first_of(kBlanks + kMarks, at + 1));
  }
  token.text = text.substr(token.begin, token.end - token.begin);
  at = token.quoted ? std::min(token.end + 1, text.size()) : token.end;
  return token;
}

struct ModelNode {
  std::string name;
  std::string tag;      ///< the start tag without its end
  std::string end_tag;  ///< of one that is not empty
  bool empty = true;    ///< written <a/>
  ModelNode* parent = nullptr;
  std::vector<std::unique_ptr<ModelNode>> children;
  std::vector<std::string> gaps = {""};  ///< the text before each child and behind the last

  /// A child with the text behind it, at that offset of that gap.
  ModelNode* splice(std::size_t gap, std::size_t offset, std::unique_ptr<ModelNode> child,
                    const std::string& behind) {
    child->parent = this;
    ModelNode* const added = child.get();
    const std::string rest = behind + gaps[gap].substr(offset);
    gaps[gap].erase(offset);
    gaps.insert(gaps.begin() + static_cast<std::ptrdiff_t>(gap) + 1, rest);
    children.insert(children.begin() + static_cast<std::ptrdiff_t>(gap), std::move(child));
    return added;
  }
  std::size_t place_of(const ModelNode* child) const {
    std::size_t place = 0;
    while (children[place].get() != child) ++place;
    return place;
  }
  /// Gives it a content.
  void open(const std::string& first_gap) {
    if (empty) end_tag = "</" + name + ">";
    empty = false;
    gaps = {first_gap};
  }
  std::string content() const {
    std::string text;
    for (std::size_t i = 0; i < children.size(); ++i) text += gaps[i] + children[i]->written();
    return text + gaps.back();
  }
  std::string written() const { return empty ? tag + "/>" : tag + ">" + content() + end_tag; }
};

class EditModel {
 public:
  struct Position {
    ModelNode* level = nullptr;
    ModelNode* main = nullptr;
    ModelNode* child = nullptr;
  };

  EditModel() { reset(); }
  EditModel(const EditModel&) = delete;
  EditModel& operator=(const EditModel&) = delete;

  /// Adds an element with the text behind it, where adding and inserting put one.
  bool add(std::unique_ptr<ModelNode> node, const std::string& behind, bool insert, bool as_child) {
    if (as_child ? at.main == nullptr : at.level == &top && !top.children.empty()) return false;
    ModelNode* const parent = as_child ? at.main : at.level;
    const ModelNode* const reference = as_child ? at.child : at.main;
    if (parent != &top && (parent->empty || parent->content().empty())) parent->open("\r\n");
    std::size_t gap = insert ? 0 : parent->children.size();
    bool at_end_of_gap = !insert;
    if (reference != nullptr) {
      gap = parent->place_of(reference) + (insert ? 0 : 1);
      at_end_of_gap = insert;
    }
    const std::string& text = parent->gaps[gap];
    const std::size_t offset = at_end_of_gap ? text.size() : skipped(text);
    ModelNode* const added = parent->splice(gap, offset, std::move(node), behind);
    if (as_child)
      at.child = added;
    else
      at = {at.level, added, nullptr};
    return true;
  }
  bool set_attrib(ModelNode* node, const std::string& name, const std::string& value) {
    if (node == nullptr) return false;
    const std::size_t start = start_of(node);
    if (const std::optional<ModelToken> found = value_of(node, name)) {
      if (found->end > start + node->tag.size()) return false;
      node->tag.replace(found->begin - start, found->end - found->begin, escaped(value, true));
    } else {
      node->tag += " " + name + "=\"" + escaped(value, true) + "\"";
    }
    return true;
  }
  bool set_data(ModelNode* node, const std::string& data, bool section) {
    if (node == nullptr || !node->children.empty()) return false;
    const bool fits = section && data.find("]]>") == std::string::npos;
    node->open(fits ? "<![CDATA[" + data + "]]>" : escaped(data));
    return true;
  }
  bool remove(bool as_child) {
    ModelNode*& current = as_child ? at.child : at.main;
    if (current == nullptr) return false;
    ModelNode* const parent = current->parent;
    const std::size_t place = parent->place_of(current);
    forget(current);
    const std::string behind = parent->gaps[place + 1].substr(skipped(parent->gaps[place + 1]));
    parent->gaps[place] += behind;
    parent->gaps.erase(parent->gaps.begin() + static_cast<std::ptrdiff_t>(place) + 1);
    parent->children.erase(parent->children.begin() + static_cast<std::ptrdiff_t>(place));
    current = place == 0 ? nullptr : parent->children[place - 1].get();
    if (!as_child) at.child = nullptr;
    return true;
  }
  bool find(const std::string& name) {
    ModelNode* const found = behind(at.level, at.main, name);
    if (found != nullptr) at = {at.level, found, nullptr};
    return found != nullptr;
  }
  /// With a main element only.
  bool find_child(const std::string& name) {
    ModelNode* const found = behind(at.main, at.child, name);
    if (found != nullptr) at.child = found;
    return found != nullptr;
  }
  bool into() {
    if (at.main == nullptr) return false;
    at = {at.main, at.child, nullptr};
    return true;
  }
  bool out() {
    if (at.level == &top) return false;
    at = {at.level->parent, at.level, at.main};
    return true;
  }
  bool restore(const std::string& name) {
    const auto found = saved.find(name);
    if (found != saved.end()) at = found->second;
    return found != saved.end();
  }
  void reset() { at = {&top, nullptr, nullptr}; }
  /// A new text forgets all names, and the position is at its start.
  void forget_position() {
    reset();
    saved.clear();
    gone.clear();
  }
  /// Takes over all but the names. Where those lead in another document is a matter of its own.
  void take_over(EditModel& other) {
    top.children = std::move(other.top.children);
    top.gaps = std::move(other.top.gaps);
    for (const auto& child : top.children) child->parent = &top;
    at = other.at;
    if (at.level == &other.top) at.level = &top;
    for (const auto& entry : saved) gone.insert(entry.first);
    saved.clear();
  }

  std::string text() const { return top.content(); }
  /// What a parser must see to find just the elements of the index: an element that stands before the root,
  /// where another root was removed, is not one of them.
  std::string indexed_text() const {
    if (top.children.empty()) return "";
    return std::string(top.gaps.front().size(), ' ') + text().substr(top.gaps.front().size());
  }
  static std::string sub_doc(const ModelNode* node) {
    if (node == nullptr) return "";
    const std::string& gap = node->parent->gaps[node->parent->place_of(node) + 1];
    return node->written() + gap.substr(0, skipped(gap));
  }
  static std::string data(const ModelNode* node) {
    if (node == nullptr || node->empty || !node->children.empty()) return "";
    const std::string& text = node->gaps.front();
    if (text.rfind("<![CDATA[", 0) == 0) return text.substr(9, text.find("]]>") - 9);
    return unescaped(text);
  }
  std::string attrib(const ModelNode* node, const std::string& name) const {
    const std::optional<ModelToken> found = node == nullptr ? std::nullopt : value_of(node, name);
    return found ? unescaped(found->text) : "";
  }
  /// Each name is looked for behind the one before and what follows that.
  std::vector<std::string> attrib_names(const ModelNode* node) const {
    std::vector<std::string> names;
    const std::string document = text();
    std::size_t place = node == nullptr ? document.size() : start_of(node) + 1;
    for (;;) {
      std::optional<ModelToken> token = next_token(document, place);
      if (!token || token->ends_tag()) return names;
      do {
        token = next_token(document, place);
        if (!token || token->ends_tag()) return names;
      } while (!token->is_name());
      names.push_back(token->text);
    }
  }

  ModelNode top;
  Position at;
  std::map<std::string, Position> saved;  ///< positions whose elements are all there
  std::set<std::string> gone;             ///< names of positions whose elements are not

 private:
  /// Where a node's start tag is in the text.
  std::size_t start_of(const ModelNode* node) const {
    std::size_t start = 0;
    for (; node != &top; node = node->parent) {
      const ModelNode* const parent = node->parent;
      if (parent != &top) start += parent->tag.size() + 1;
      for (std::size_t i = 0;; ++i) {
        start += parent->gaps[i].size();
        if (parent->children[i].get() == node) break;
        start += parent->children[i]->written().size();
      }
    }
    return start;
  }
  /// The value of an attribute: what stands in quotation marks two words behind the first word that is its
  /// name.
  std::optional<ModelToken> value_of(const ModelNode* node, const std::string& name) const {
    const std::string document = text();
    std::size_t place = start_of(node) + 1;
    std::size_t named = 0;
    for (std::size_t count = 0;; ++count) {
      const std::optional<ModelToken> token = next_token(document, place);
      if (!token || token->ends_tag()) return std::nullopt;
      if (count == 0) continue;
      if (named == 0 && !token->quoted && token->text == name) named = count;
      if (named != 0 && token->quoted && count == named + 2) return token;
    }
  }
  /// The blanks at the start of a gap, if a tag or the end of the text follows them.
  static std::size_t skipped(const std::string& gap) {
    const std::size_t blanks = gap.find_first_not_of(" \t\r\n");
    if (blanks == std::string::npos) return gap.size();
    return gap[blanks] == '<' ? blanks : 0;
  }
  static ModelNode* behind(const ModelNode* level, const ModelNode* reference, const std::string& name) {
    for (std::size_t i = reference == nullptr ? 0 : level->place_of(reference) + 1;
         i < level->children.size(); ++i) {
      if (name.empty() || level->children[i]->name == name) return level->children[i].get();
    }
    return nullptr;
  }
  static bool lies_in(const ModelNode* node, const ModelNode* removed) {
    while (node != nullptr && node != removed) node = node->parent;
    return node != nullptr;
  }
  void forget(const ModelNode* removed) {
    std::erase_if(saved, [&](const auto& entry) {
      const Position& position = entry.second;
      const bool lost = lies_in(position.level, removed) || lies_in(position.main, removed) ||
                        lies_in(position.child, removed);
      if (lost) gone.insert(entry.first);
      return lost;
    });
  }
};

}  // namespace xml_support
