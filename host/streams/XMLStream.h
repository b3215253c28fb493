// "XMLStream": an XML document read and written through cursors
// (IXMLStream), seen as its serialised bytes (IDataStream) and kept in a file
// (IFileArchive).
//
// The stream made by the collection is the top cursor: it stands on the
// document's root element. The first write into an empty document creates
// that root, named "Document"; a loaded document keeps the root it has.
// Writes append to the element most recently opened on the cursor (at first
// the element the cursor stands on). FirstChild makes a new cursor on the
// first child element; Next moves a cursor to the next sibling element (the
// top cursor has none). Comments and processing instructions are kept but
// skipped by the cursors.
//
// An object element is <Object Component="name">, holding whatever the
// object saves of itself; CreateObject creates that component and lets it
// load itself from a cursor standing on the element.
//
// Files are UTF-8; carriage returns in text read back as line feeds, as XML
// prescribes, and text stops at a NUL character. Element names must be XML
// names (E_INVALIDARG otherwise, nothing written).
//
// Elements nest at most kMaxStreamNesting levels below the root element
// (host/StreamNesting.h). A document nested deeper is not taken (parsed
// input and Load fail with E_FAIL, the document stays as it was and the
// error text names the line of the first element too deep); a write that
// would nest deeper fails with E_FAIL and writes nothing.
//
// Cursors made before the whole document was replaced (Load, parsed input,
// Reset with clear) fail with E_FAIL. A document and its cursors are meant
// for one thread at a time.
#pragma once

#include "sdk/Framework.h"

namespace host {

HRESULT CreateXMLStream(const IID* iid, void** out);

} // namespace host
