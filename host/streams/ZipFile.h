// "ZipFile": a zip archive held in memory as its bytes, filled from a folder
// and written out to one. It saves itself as those bytes and loads from
// them through IDataPersist (options 0), and explains its last failure
// through IStreamErrorText ("path: reason").
//
// AddFolder packs a folder's files into the archive (ZipPacking.h: what goes
// in, and how memory stays bounded); ExtractTo unpacks it into a folder
// without ever overwriting a file or following a link (ZipUnpacking.h).
// Paths are host text, mapped to file-name bytes by FileNameEncoding. A
// failed call leaves the archive as it was.
#pragma once

#include <string>

#include "host/base/HostObject.h"
#include "host/streams/StreamErrorText.h"

namespace host {

class ZipFile final : public HostObject<IZipFile, IDataPersist, IStreamErrorText> {
public:
    ZipFile() = default;

    HRESULT AddFolder(IString* folder) override;
    HRESULT ExtractTo(IString* folder) override;

    HRESULT Save(IDataStream* stream, int32_t options) override;
    HRESULT Load(IDataStream* stream, int32_t options) override;

    HRESULT get_ErrorText(IString** text) override;

private:
    HRESULT Fail(std::string message);
    HRESULT Succeed();

    std::string m_archive; // the archive's bytes; empty for an archive without entries
    std::string m_error;
};

HRESULT CreateZipFile(const IID* iid, void** out);

} // namespace host
