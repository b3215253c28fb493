// The destination folder of a packaging run, and the places inside it that
// the run writes to.
//
// The release folder itself is opened by the path the caller gave (a link
// there is the caller's own choice), after it and its parents are made. Every
// folder below it is reached one name at a time from the folder above,
// without following a link, and made with mode 0777 under the umask when
// asked; files are put in place by OSCopyFileAt, which never writes through
// a link. A relative path that would leave the release (absolute, or with a
// ".." step) is refused before anything is touched.
//
// One run at a time, on the run's thread.
#pragma once

#include <string_view>

#include "components/FileSystem.h"
#include "sdk/ScopedHandles.h"

class ReleaseFolder final {
public:
    // Makes and opens the release folder at `path`; false (with `error`
    // told why) when it cannot be used.
    bool Open(const CREFString& path, OSError* error);
    bool IsOpen() const { return m_root.IsOpen(); }

    // The folder at `relative` ("a/b"; empty for the release itself), each
    // missing step made when `create` is set. Not open (and `error` told
    // why) when a step is missing, is a link or no folder, or cannot be made.
    ScopedFD Folder(std::wstring_view relative, bool create, OSError* error) const;

    // Copies the file at `source` to `relative` inside the release,
    // replacing what is there; its folders are made when `createFolders` is
    // set. Returns 0, or 0x80004005 with `error` told why (it stays clear
    // for an empty source, whose copy fails without being a fault).
    HRESULT CopyInto(const CREFString& source, std::wstring_view relative, bool createFolders,
                     OSError* error) const;

private:
    ScopedFD m_root;
};
