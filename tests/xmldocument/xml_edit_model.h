// A plain model of a document that is edited: a tree whose nodes hold the text between their children as it
// stands. What an edited document must be equal to after each operation.
#pragma once

#include <cstddef>
#include <map>
#include <memory>
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

/// The inverse of that. Other escapes stay as they are.
inline std::string unescaped(const std::string& text) {
  static const std::pair<std::string, char> kEscapes[] = {
      {"&lt;", '<'}, {"&amp;", '&'}, {"&gt;", '>'}, {"&apos;", '\''}, {"&quot;", '"'}};
  std::string data;
  for (std::size_t i = 0; i < text.size();) {
    std::size_t taken = 1;
    char c = text[i];
    for (const auto& [escape, meaning] : kEscapes) {
      if (text.compare(i, escape.size(), escape) != 0) continue;
      taken = escape.size();
      c = meaning;
    }
    data += c;
    i += taken;
  }
  return data;
}

struct ModelAttrib {
  std::string before;  ///< the blanks before the name
  std::string name;
  std::string equals;  ///< the equals sign and the blanks around it
  char mark = '"';
  std::string text;  ///< the value as it stands
};

struct ModelNode {
  std::string name;
  std::vector<ModelAttrib> attribs;
  std::string blanks;  ///< before the end of the start tag
  bool empty = true;   ///< written <a/>
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
  ModelAttrib* attrib(const std::string& wanted) {
    for (ModelAttrib& one : attribs) {
      if (one.name == wanted) return &one;
    }
    return nullptr;
  }
  std::string content() const {
    std::string text;
    for (std::size_t i = 0; i < children.size(); ++i) text += gaps[i] + children[i]->written();
    return text + gaps.back();
  }
  std::string written() const {
    std::string text = "<" + name;
    for (const ModelAttrib& one : attribs) {
      text += one.before + one.name + one.equals + one.mark + one.text + one.mark;
    }
    text += blanks;
    return empty ? text + "/>" : text + ">" + content() + "</" + name + ">";
  }
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
    if (parent != &top && (parent->empty || parent->content().empty())) {
      parent->empty = false;
      parent->gaps = {"\r\n"};
    }
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
    if (ModelAttrib* const found = node->attrib(name)) {
      found->text = escaped(value, true);
      return true;
    }
    node->attribs.push_back({node->blanks + " ", name, "=", '"', escaped(value, true)});
    node->blanks.clear();
    return true;
  }
  bool set_data(ModelNode* node, const std::string& data, bool section) {
    if (node == nullptr || !node->children.empty()) return false;
    const bool fits = section && data.find("]]>") == std::string::npos;
    node->gaps = {fits ? "<![CDATA[" + data + "]]>" : escaped(data)};
    node->empty = false;
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

  std::string text() const { return top.content(); }
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
  static std::string attrib(ModelNode* node, const std::string& name) {
    const ModelAttrib* const found = node == nullptr ? nullptr : node->attrib(name);
    return found == nullptr ? "" : unescaped(found->text);
  }

  ModelNode top;
  Position at;
  std::map<std::string, Position> saved;  ///< positions whose elements are all there
  std::set<std::string> gone;             ///< names of positions whose elements are not

 private:
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
