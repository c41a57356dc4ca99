// SPDX-License-Identifier: Apache-2.0
// The XML class: a strict parser tells what is well-formed, the tree library behind it is lenient.
#include "MarkupSTL.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <new>

#include <expat.h>
#include <pugixml.hpp>
#include <strings.h>

struct CMarkupSTL::Document {
    pugi::xml_document xml;
    pugi::xml_node parent = xml;
    pugi::xml_node current;

    void GoToTop() {
        parent = xml;
        current = pugi::xml_node();
    }
};

namespace {

/// The library reports memory that ran out by a false or null result.
void Need(bool done) {
    if (!done) {
        throw std::bad_alloc();
    }
}

struct ParserFree {
    void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
};
using Parser = std::unique_ptr<XML_ParserStruct, ParserFree>;

/// A handler of the parser that ends the parsing: the text is refused.
template <typename... Argument>
void Refuse(void *parser, Argument...) {
    XML_StopParser(static_cast<XML_Parser>(parser), XML_FALSE);
}

/// Notes in the parser's user data an encoding that the tree library has to convert.
void NoteEncoding(void *parser, const char * /*version*/, const char *encoding, int /*standalone*/) {
    if (encoding == nullptr || strcasecmp(encoding, "ISO-8859-1") != 0) {
        return;
    }
    auto *const self = static_cast<XML_Parser>(parser);
    *static_cast<pugi::xml_encoding *>(XML_GetUserData(self)) = pugi::encoding_latin1;
    if (XML_GetCurrentByteIndex(self) > 0) {
        Refuse(parser); // The mark of UTF-8 stands before the declaration.
    }
}

/// Whether a text is well-formed, or nothing but what may stand before a root, and in which encoding.
///
/// Of a document type, only what leaves the elements as they are written is taken: no entities, whose
/// expansion can outgrow any memory, and no attribute lists, whose cost grows with the elements times the
/// attributes. Nothing outside the text is ever loaded.
bool IsWellFormed(const char *text, std::size_t length, pugi::xml_encoding &encoding) {
    const Parser parser(XML_ParserCreate(nullptr));
    Need(parser && length <= INT_MAX);
    encoding = pugi::encoding_utf8;
    XML_SetUserData(parser.get(), &encoding);
    XML_UseParserAsHandlerArg(parser.get());
    XML_SetXmlDeclHandler(parser.get(), NoteEncoding);
    XML_SetEntityDeclHandler(parser.get(), Refuse);
    XML_SetAttlistDeclHandler(parser.get(), Refuse);
    XML_SetSkippedEntityHandler(parser.get(), Refuse);
    if (XML_Parse(parser.get(), text, static_cast<int>(length), XML_TRUE) == XML_STATUS_OK) {
        return true;
    }
    const XML_Error error = XML_GetErrorCode(parser.get());
    Need(error != XML_ERROR_NO_MEMORY);
    return error == XML_ERROR_NO_ELEMENTS;
}

bool IsText(const pugi::xml_node &node) {
    return node.type() == pugi::node_pcdata || node.type() == pugi::node_cdata;
}

struct StringWriter : pugi::xml_writer {
    void write(const void *data, std::size_t size) override {
        text.append(static_cast<const char *>(data), size);
    }
    std::string text;
};

/// The attribute of this name of an element, added when there is none.
pugi::xml_attribute Attribute(pugi::xml_node element, const char *name) {
    pugi::xml_attribute attribute = element.attribute(name);
    if (!attribute) {
        attribute = element.append_attribute(name);
        Need(attribute.name()[0] != '\0');
    }
    return attribute;
}

} // namespace

CMarkupSTL::CMarkupSTL() : document_(new Document) {}

CMarkupSTL::~CMarkupSTL() = default;

bool CMarkupSTL::SetDoc(const char *text) {
    // Fragments, because the library takes a declaration alone for nothing else.
    constexpr unsigned kOptions =
        pugi::parse_default | pugi::parse_declaration | pugi::parse_ws_pcdata | pugi::parse_fragment;
    document_->xml.reset();
    document_->GoToTop();
    if (text == nullptr) {
        return false;
    }
    const std::size_t length = strlen(text);
    pugi::xml_encoding encoding;
    if (!IsWellFormed(text, length, encoding)) {
        return false;
    }
    const pugi::xml_parse_result parsed = document_->xml.load_buffer(text, length, kOptions, encoding);
    Need(parsed.status != pugi::status_out_of_memory);
    // Blanks, comments and a document type alone are no document.
    const bool done = parsed && !std::all_of(document_->xml.begin(), document_->xml.end(), IsText);
    if (!done) {
        document_->xml.reset();
    }
    document_->GoToTop();
    return done;
}

std::string CMarkupSTL::GetDoc() const {
    StringWriter writer;
    for (const pugi::xml_node node : document_->xml) {
        if (!IsText(node)) {
            node.print(writer, "", pugi::format_raw, pugi::encoding_utf8);
        }
        if (node.type() == pugi::node_declaration) {
            writer.text += '\n';
        }
    }
    return std::move(writer.text);
}

bool CMarkupSTL::AddElem(const char *name, const char *text) {
    if (name == nullptr || *name == '\0') {
        return false;
    }
    pugi::xml_node &parent = document_->parent;
    pugi::xml_node element = document_->current
                                 ? parent.insert_child_after(pugi::node_element, document_->current)
                                 : parent.append_child(pugi::node_element);
    Need(element.set_name(name));
    document_->current = element;
    if (text != nullptr && *text != '\0') {
        SetData(text);
    }
    return true;
}

bool CMarkupSTL::IntoElem() {
    if (!document_->current) {
        return false;
    }
    document_->parent = document_->current;
    document_->current = pugi::xml_node();
    return true;
}

bool CMarkupSTL::FindElem(const char *name, bool fromFirst) {
    if (name == nullptr) {
        return false;
    }
    const bool behind = !fromFirst && document_->current;
    pugi::xml_node node = behind ? document_->current.next_sibling() : document_->parent.first_child();
    for (; node; node = node.next_sibling()) {
        if (node.type() == pugi::node_element && strcmp(node.name(), name) == 0) {
            document_->current = node;
            return true;
        }
    }
    return false;
}

bool CMarkupSTL::SetAttrib(const char *name, const char *text) {
    if (!document_->current || name == nullptr || *name == '\0') {
        return false;
    }
    Need(Attribute(document_->current, name).set_value(text == nullptr ? "" : text));
    return true;
}

bool CMarkupSTL::SetAttrib(const char *name, int value) {
    return SetAttrib(name, std::to_string(value).c_str());
}

bool CMarkupSTL::SetData(const char *text) {
    pugi::xml_node element = document_->current;
    if (!element) {
        return false;
    }
    for (pugi::xml_node node = element.first_child(); node;) {
        const pugi::xml_node next = node.next_sibling();
        if (IsText(node)) {
            element.remove_child(node);
        }
        node = next;
    }
    if (text != nullptr && *text != '\0') {
        Need(element.prepend_child(pugi::node_pcdata).set_value(text));
    }
    return true;
}

std::string CMarkupSTL::GetData() const {
    std::string text;
    for (const pugi::xml_node node : document_->current) {
        if (IsText(node)) {
            text += node.value();
        }
    }
    return text;
}
