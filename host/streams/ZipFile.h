// "ZipFile": a zip archive held in memory as its bytes, filled from a folder
// and written out to one. It saves itself as those bytes and loads from
// them through IDataPersist (options 0), and explains its last failure
// through IStreamErrorText ("path: reason").
//
// Why the archive is kept as bytes in memory: it is the object's content,
// what Save hands out and Load takes in, so it lives in memory in any case.
// Adding files builds the new archive in a libzip buffer source opened over
// the old bytes; each file is read in chunks while libzip writes the archive
// (a source of ours that opens it without following a link), so adding
// never holds a whole input file. Extracting streams each entry in chunks.
//
// AddFolder: every regular file below the folder, named by its path
// relative to it with "/" between folders, compressed with deflate, its
// permissions and modification time kept (Unix external attributes). The
// folder is walked without following links; links and special files are
// left out, and so are empty folders. Any folder or file that cannot be
// read fails the whole call and leaves the archive as it was.
//
// ExtractTo: entry names are the files' names as bytes, exactly as stored
// (a name that is not valid UTF-8 comes back byte for byte, and the host
// reads it through FileNameEncoding). Before anything is written the call
// refuses an archive with an absolute name, an empty, "." or ".." part,
// two entries for one file, a file that another entry needs as a folder,
// or an entry for a link or a special file; and it refuses to touch a file
// that exists already or a folder path that passes through a link. Then it
// creates the folder and the folders the entries need (mode 0777 under the
// umask), walking down with O_NOFOLLOW, and writes each file to a work file
// that is linked in under its name only when complete and its CRC matched,
// never replacing anything. Files get the permission bits stored with them
// (masked by 0777), or 0666 under the umask when none are stored.
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
