// Four XML libraries behind one face: parse a text, read every field of a document by its name, build a text.
#pragma once

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <tinyxml2.h>

#include <climits>
#include <cstddef>
#include <memory>
#include <pugixml.hpp>
#include <string>

#include "benchmarks/xml_messages.h"
#include "t1_sdk/xmldocument/xml_document.h"

/// The program's own.
struct Boardtest {
  static constexpr char kName[] = "boardtest";
  using Document = XmlDocument;

  static bool parse(Document& document, const std::string& text) { return document.SetDoc(text.c_str()); }

  static void read(Document& document, const Element& root, std::string& out) {
    document.ResetPos();
    document.FindElem(root.name.c_str());
    read_children(document, root, out);
  }

  static void build(const Message& message, std::string& out) {
    Document document;
    if (message.has_header) document.SetDoc(kHeader);
    document.AddElem(message.root.name.c_str());
    add_children(document, message.root);
    out = document.GetDoc();
  }

 private:
  static void read_children(Document& document, const Element& element, std::string& out) {
    for (const Element& child : element.children) {
      document.FindChildElem(child.name.c_str());
      if (child.children.empty()) {
        out.append(document.GetChildData());
        continue;
      }
      document.IntoElem();
      read_children(document, child, out);
      document.OutOfElem();
    }
  }

  static void add_children(Document& document, const Element& element) {
    for (const Element& child : element.children) {
      document.AddChildElem(child.name.c_str(), child.text.c_str());
      if (child.children.empty()) continue;
      document.IntoElem();
      add_children(document, child);
      document.OutOfElem();
    }
  }
};

struct PugiXml {
  static constexpr char kName[] = "pugixml";
  using Document = pugi::xml_document;

  static bool parse(Document& document, const std::string& text) {
    return static_cast<bool>(
        document.load_buffer(text.data(), text.size(), pugi::parse_default, pugi::encoding_utf8));
  }

  static void read(Document& document, const Element& root, std::string& out) {
    read_children(document.child(root.name.c_str()), root, out);
  }

  static void build(const Message& message, std::string& out) {
    Document document;
    if (message.has_header) {
      pugi::xml_node header = document.append_child(pugi::node_declaration);
      header.append_attribute("version") = "1.0";
      header.append_attribute("encoding") = "UTF-8";
    }
    add(document, message.root);
    out.clear();
    Writer writer(out);
    document.save(writer, "", pugi::format_raw | pugi::format_no_declaration, pugi::encoding_utf8);
  }

 private:
  struct Writer : pugi::xml_writer {
    explicit Writer(std::string& to) : out(to) {}
    void write(const void* data, std::size_t size) override {
      out.append(static_cast<const char*>(data), size);
    }
    std::string& out;
  };

  static void read_children(pugi::xml_node node, const Element& element, std::string& out) {
    pugi::xml_node at;
    for (const Element& child : element.children) {
      at = at ? at.next_sibling(child.name.c_str()) : node.child(child.name.c_str());
      if (child.children.empty()) {
        out.append(at.child_value());
      } else {
        read_children(at, child, out);
      }
    }
  }

  static void add(pugi::xml_node parent, const Element& element) {
    pugi::xml_node node = parent.append_child(element.name.c_str());
    if (!element.text.empty()) node.append_child(pugi::node_pcdata).set_value(element.text.c_str());
    for (const Element& child : element.children) add(node, child);
  }
};

struct TinyXml2 {
  static constexpr char kName[] = "TinyXML-2";
  using Document = tinyxml2::XMLDocument;

  static bool parse(Document& document, const std::string& text) {
    return document.Parse(text.data(), text.size()) == tinyxml2::XML_SUCCESS;
  }

  static void read(Document& document, const Element& root, std::string& out) {
    read_children(document.FirstChildElement(root.name.c_str()), root, out);
  }

  static void build(const Message& message, std::string& out) {
    Document document;
    if (message.has_header) document.InsertEndChild(document.NewDeclaration());
    add(document, document, message.root);
    tinyxml2::XMLPrinter printer(nullptr, true);
    document.Print(&printer);
    out.assign(printer.CStr(), static_cast<std::size_t>(printer.CStrSize() - 1));
  }

 private:
  static void read_children(const tinyxml2::XMLElement* node, const Element& element, std::string& out) {
    const tinyxml2::XMLElement* at = nullptr;
    for (const Element& child : element.children) {
      at = at != nullptr ? at->NextSiblingElement(child.name.c_str())
                         : node->FirstChildElement(child.name.c_str());
      if (child.children.empty()) {
        out.append(at->GetText());
      } else {
        read_children(at, child, out);
      }
    }
  }

  static void add(Document& document, tinyxml2::XMLNode& parent, const Element& element) {
    tinyxml2::XMLElement* node = document.NewElement(element.name.c_str());
    parent.InsertEndChild(node);
    if (!element.text.empty()) node->SetText(element.text.c_str());
    for (const Element& child : element.children) add(document, *node, child);
  }
};

struct LibXml2 {
  static constexpr char kName[] = "libxml2";
  struct Free {
    void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
  };
  using Document = std::unique_ptr<xmlDoc, Free>;

  static bool parse(Document& document, const std::string& text) {
    document.reset(xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, "UTF-8",
                                 XML_PARSE_NONET | XML_PARSE_NOBLANKS | XML_PARSE_HUGE | XML_PARSE_COMPACT));
    return document != nullptr;
  }

  static void read(Document& document, const Element& root, std::string& out) {
    read_children(xmlDocGetRootElement(document.get()), root, out);
  }

  static void build(const Message& message, std::string& out) {
    const Document document(xmlNewDoc(chars("1.0")));
    xmlNode* const root = xmlNewNode(nullptr, chars(message.root.name.c_str()));
    xmlDocSetRootElement(document.get(), root);
    add_children(root, message.root);
    xmlChar* text = nullptr;
    int size = 0;
    xmlDocDumpMemoryEnc(document.get(), &text, &size, "UTF-8");
    out.assign(reinterpret_cast<const char*>(text), static_cast<std::size_t>(size));
    xmlFree(text);
  }

 private:
  static const xmlChar* chars(const char* text) { return reinterpret_cast<const xmlChar*>(text); }

  static void read_children(const xmlNode* node, const Element& element, std::string& out) {
    const xmlNode* at = node->children;
    for (const Element& child : element.children) {
      while (!(at->type == XML_ELEMENT_NODE && xmlStrEqual(at->name, chars(child.name.c_str())))) {
        at = at->next;
      }
      if (child.children.empty()) {
        out.append(reinterpret_cast<const char*>(at->children->content));
      } else {
        read_children(at, child, out);
      }
      at = at->next;
    }
  }

  static void add_children(xmlNode* node, const Element& element) {
    for (const Element& child : element.children) {
      xmlNode* const added = xmlNewChild(node, nullptr, chars(child.name.c_str()), nullptr);
      if (!child.text.empty()) xmlNodeAddContent(added, chars(child.text.c_str()));
      add_children(added, child);
    }
  }
};
