#include "host/archive/LocationAccess.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

#include "host/text/ErrnoText.h"

namespace host::fas {

namespace {

// Scheme files are small; anything far larger is no scheme file.
constexpr int64_t kLargestSchemeFile = int64_t(1) << 30;

TransferError Failure(std::wstring text, int code = 0) {
    TransferError error;
    error.status = E_FAIL;
    error.code = code;
    error.text = std::move(text);
    return error;
}

TransferError Stopped() {
    TransferError error;
    error.status = E_ABORT;
    error.text = L"stopped";
    return error;
}

int OpenTemp(ScopedFD& file) {
    const char* folder = ::getenv("TMPDIR");
    if (!folder || !*folder) folder = "/tmp";
    file.Reset(::open(folder, O_TMPFILE | O_RDWR | O_CLOEXEC, 0600));
    if (file.IsOpen()) return 0;
    std::string pattern = std::string(folder) + "/.fas-fetch-XXXXXX";
    file.Reset(::mkostemp(pattern.data(), O_CLOEXEC));
    if (!file.IsOpen()) return errno;
    ::unlink(pattern.c_str());
    return 0;
}

TransferError ListInto(ILocationScheme* side, const std::wstring& folder,
                       const std::function<bool(const std::wstring&, bool)>& skip, const std::atomic<bool>* stop,
                       RemoteListing& out) {
    if (stop && stop->load()) return Stopped();
    std::vector<LocationEntry> entries;
    TransferError error = side->List(folder, entries);
    if (FAILED(error.status)) return error;
    const std::wstring prefix = folder.empty() ? std::wstring() : folder + L"/";
    std::vector<std::wstring> folders;
    for (LocationEntry& entry : entries) {
        const std::wstring relative = prefix + entry.name;
        if (entry.name.empty() || entry.name == L"." || entry.name == L".." ||
            entry.name.find(L'/') != std::wstring::npos || !IsRelativeName(relative))
            continue;
        if (skip(relative, entry.folder)) continue;
        if (entry.folder) {
            folders.push_back(relative);
        } else {
            entry.name = relative;
            out[relative] = std::move(entry);
        }
    }
    for (const std::wstring& sub : folders) {
        error = ListInto(side, sub, skip, stop, out);
        if (FAILED(error.status)) return error;
    }
    return {};
}

} // namespace

std::wstring FolderOf(const std::wstring& name) {
    const size_t slash = name.rfind(L'/');
    return slash == std::wstring::npos ? std::wstring() : name.substr(0, slash);
}

std::wstring LeafOf(const std::wstring& name) {
    const size_t slash = name.rfind(L'/');
    return slash == std::wstring::npos ? name : name.substr(slash + 1);
}

TransferError ListRemote(ILocationScheme* side, const std::function<bool(const std::wstring&, bool)>& skip,
                         const std::atomic<bool>* stop, RemoteListing& out) {
    return ListInto(side, L"", skip, stop, out);
}

TransferError FetchToTemp(ILocationScheme* side, const std::wstring& name, const std::atomic<bool>* stop,
                          ScopedFD& file) {
    if (int code = OpenTemp(file)) return Failure(L"cannot make a temporary file: " + ErrnoText(code), code);
    FetchResult fetched = side->FetchFile(name, file.Get(), stop);
    if (FAILED(fetched.error.status)) return fetched.error;
    if (!fetched.complete) return Failure(name + L": the transfer ended early");
    return {};
}

TransferError ReadSchemeFileAt(ILocationScheme* side, const std::wstring& name, const std::atomic<bool>* stop,
                               std::optional<SchemeFile>& out) {
    out.reset();
    // Whether it is there at all, from its folder's listing: a failed fetch
    // alone cannot tell "none yet" from "cannot be read".
    std::vector<LocationEntry> entries;
    TransferError error = side->List(FolderOf(name), entries);
    if (FAILED(error.status)) return error;
    bool present = false;
    for (const LocationEntry& entry : entries) {
        if (entry.name == LeafOf(name)) {
            if (entry.folder) return Failure(L"the scheme file " + name + L" is a folder");
            present = true;
        }
    }
    if (!present) return {};
    ScopedFD file;
    error = FetchToTemp(side, name, stop, file);
    if (FAILED(error.status)) return error;
    struct stat info {};
    if (::fstat(file.Get(), &info) != 0) return Failure(L"cannot read the scheme file: " + ErrnoText(errno), errno);
    if (info.st_size > kLargestSchemeFile) return Failure(L"the scheme file " + name + L" is too large");
    std::string bytes(static_cast<size_t>(info.st_size), '\0');
    size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t n = ::pread(file.Get(), bytes.data() + done, bytes.size() - done, static_cast<off_t>(done));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return Failure(L"cannot read the scheme file: " + ErrnoText(errno), errno);
        done += static_cast<size_t>(n);
    }
    SchemeFile parsed;
    std::wstring why;
    if (!ParseSchemeFile(bytes, SchemeKind::Manifest, parsed, why)) return Failure(name + L": " + why);
    out = std::move(parsed);
    return {};
}

TransferError PutBytes(ILocationScheme* side, const std::wstring& name, const std::string& bytes,
                       const std::atomic<bool>* stop) {
    size_t sent = 0;
    auto read = [&](void* buffer, size_t capacity) -> int64_t {
        const size_t n = std::min(capacity, bytes.size() - sent);
        std::memcpy(buffer, bytes.data() + sent, n);
        sent += n;
        return static_cast<int64_t>(n);
    };
    return side->PutFile(name, read, static_cast<int64_t>(bytes.size()), stop);
}

} // namespace host::fas
