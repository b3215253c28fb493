// CStringDataStream: a host string handed over as a data stream. Code that
// takes an IDataStream (the host's text transforms) can ask it back for the
// IString it wraps, unless that is withheld; every stream operation goes to
// an inner host data stream, which the user fills (usually with
// STREAMWriteText, the wrapped text as 32-bit characters).
//
// The object lives on its user's stack for one call and is not counted:
// AddRef returns 2 and Release 1 whatever happened before, so a callee that
// takes and drops references never destroys it. Callees must not keep it
// beyond the call. Its stream operations need the inner stream: they do not
// check for it.
#pragma once

#include <cstdint>
#include <memory>

#include "sdk/Framework.h"

class CStringDataStream final : public IDataStream {
public:
    // Takes its own references on `text` and `inner` (either may be null).
    // With `withholdString` non-zero, QueryInterface does not answer IString.
    // `buffer`, when given, is memory the inner stream was created over: it
    // is freed after the inner stream is released.
    CStringDataStream(IString* text, int16_t withholdString, IDataStream* inner,
                      std::unique_ptr<uint8_t[]> buffer = nullptr);
    ~CStringDataStream();
    CStringDataStream(const CStringDataStream&) = delete;
    CStringDataStream& operator=(const CStringDataStream&) = delete;

    // IDataStream and IUnknown (this object itself, no reference taken);
    // IString: the wrapped string with a new reference, when held and not
    // withheld. Anything else: E_NOINTERFACE, `*out` left as it was.
    HRESULT QueryInterface(const IID& iid, void** out) override;
    uint32_t AddRef() override { return 2; }
    uint32_t Release() override { return 1; }

    HRESULT Create(void* buffer, unsigned long size, short growable) override;
    HRESULT Reset(short clear) override;
    HRESULT Seek(long offset, unsigned int origin, unsigned long* position) override;
    HRESULT GetStream(void** data, unsigned long* size) override;
    HRESULT Read(void* data, unsigned int size, unsigned int* read) override;
    HRESULT Write(const void* data, unsigned int size, unsigned int* written) override;

private:
    IPtr<IString> m_String;
    int16_t m_WithholdString;
    std::unique_ptr<uint8_t[]> m_Buffer;
    IPtr<IDataStream> m_Inner;
};

// Writes `text` to `stream` at its position as 32-bit characters (four
// bytes each, the machine's order). S_OK for an empty text; otherwise the
// status of the write.
HRESULT STREAMWriteText(IDataStream* stream, const tagREFString& text);
