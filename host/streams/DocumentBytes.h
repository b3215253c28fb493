// The IDataStream face of a document stream (XML, folder): the document seen
// as the bytes of its serialised form.
//
// - Reading (GetStream, Read, Seek) works on a snapshot of the serialised
//   document, made again whenever the document changed since the last one
//   (and then read from the start again).
// - Write collects bytes of a serialised document. They are parsed at the
//   next use of the document (any cursor or folder operation, a read, a save)
//   and then replace it. When they do not parse, that operation fails with
//   E_FAIL, the document stays as it was, the collected bytes are dropped and
//   the parser's message is kept as the stream's error text.
// - Create over a caller's buffer takes the buffer's bytes as collected input
//   (it is copied; the buffer is not kept). Create without a buffer, and
//   Reset with `clear`, empty the document.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "host/streams/ByteBuffer.h"

namespace host {

// What a document stream offers to its byte face.
class SerialisedDocument {
public:
    // Changes whenever the document changes.
    virtual uint64_t Revision() const = 0;
    virtual std::string Serialise() = 0;
    // Replaces the document by the parsed bytes; false (document unchanged)
    // with the parser's message otherwise.
    virtual bool Replace(std::string_view bytes, std::string& error) = 0;
    virtual void Clear() = 0;

protected:
    ~SerialisedDocument() = default;
};

class DocumentBytes final {
public:
    DocumentBytes() = default;
    DocumentBytes(const DocumentBytes&) = delete;
    DocumentBytes& operator=(const DocumentBytes&) = delete;

    HRESULT Create(SerialisedDocument& doc, void* buffer, unsigned long size);
    HRESULT Reset(SerialisedDocument& doc, bool clear);
    HRESULT Seek(SerialisedDocument& doc, long offset, unsigned int origin, unsigned long* position, std::string& error);
    HRESULT GetStream(SerialisedDocument& doc, void** data, unsigned long* size, std::string& error);
    HRESULT Read(SerialisedDocument& doc, void* data, unsigned int size, unsigned int* read, std::string& error);
    HRESULT Write(const void* data, unsigned int size, unsigned int* written);

    // Parses collected input into the document; E_FAIL with the message
    // when it does not parse. S_OK when nothing was collected.
    HRESULT TakeInput(SerialisedDocument& doc, std::string& error);
    // Forgets collected input (a file load supersedes it).
    void DropInput() { m_input.clear(); }

private:
    // TakeInput, then a fresh snapshot when the document changed.
    HRESULT Sync(SerialisedDocument& doc, std::string& error);

    std::string m_input;
    ByteBuffer m_snapshot;
    uint64_t m_snapshotRevision = 0;
    bool m_hasSnapshot = false;
};

} // namespace host
