// SPDX-License-Identifier: Apache-2.0
/// @file MarkupSTL.h  An XML document with a current position.
#ifndef MARKUPSTL_H
#define MARKUPSTL_H

#include <memory>
#include <string>

/// CMarkupSTL is a document with a parent level and a current element at that level. A fresh object is
/// an empty document at its top level, without a current element. Functions that need an element where
/// there is none change nothing and return false or an empty text.
///
/// Not for concurrent use. A document or text that does not fit into memory throws std::bad_alloc and
/// leaves the object fit for destruction.
class CMarkupSTL {
public:
    CMarkupSTL();
    ~CMarkupSTL();
    CMarkupSTL(const CMarkupSTL &) = delete;
    CMarkupSTL &operator=(const CMarkupSTL &) = delete;

    /// Replaces the document and goes to its top level. False, and an empty document, when the text is
    /// null or not well-formed. A declaration without a root counts as well-formed. The text is UTF-8 unless
    /// its declaration says US-ASCII or ISO-8859-1; any other encoding is refused.
    ///
    /// A document type may stand before the root, but is not looked at, and nothing that it names is loaded.
    /// One that declares entities or attributes is refused, and so is a text with a reference to any entity
    /// but the five that XML has.
    bool SetDoc(const char *text);

    /// The document as text, in UTF-8: the declaration, if any, on a line of its own, then the elements
    /// without added white space.
    std::string GetDoc() const;

    /// Adds an element behind the current one of this level, or at the end of the level when there is
    /// none, and makes it current. A null or empty text adds none.
    bool AddElem(const char *name, const char *text = nullptr);

    /// Makes the current element the parent level, without a current element.
    bool IntoElem();

    /// Makes the first element of this name current: the first of the level when `fromFirst`, else the
    /// first behind the current element. When there is none, false, and the position stays.
    bool FindElem(const char *name, bool fromFirst);

    /// Sets an attribute of the current element, replacing an earlier value. Numbers are written in
    /// signed decimal.
    bool SetAttrib(const char *name, const char *text);
    bool SetAttrib(const char *name, int value);

    /// Replaces the text of the current element.
    bool SetData(const char *text);

    /// The text of the current element: all its own text and CDATA pieces joined, blanks kept.
    std::string GetData() const;

private:
    struct Document;
    std::unique_ptr<Document> document_;
};

#endif
