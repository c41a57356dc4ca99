// SPDX-License-Identifier: Apache-2.0
/// @file SmartControl_xml_document.h
/// How every XML document of the module begins.
#ifndef SMARTCONTROL_XML_DOCUMENT_H
#define SMARTCONTROL_XML_DOCUMENT_H

#include "MarkupSTL.h"

/// Starts a document with a root element and goes into it.
inline void StartDocument(CMarkupSTL &document, const char *root) {
    document.SetDoc("<?xml version=\"1.0\" encoding=\"utf-8\"?>\n");
    document.AddElem(root);
    document.IntoElem();
}

#endif
