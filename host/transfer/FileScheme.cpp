#include "host/transfer/FileScheme.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <vector>

#include "host/text/FileNameEncoding.h"
#include "host/transfer/FileUrl.h"
#include "host/transfer/SchemeSettings.h"
#include "host/text/ErrnoText.h"
#include "host/values/HostStrings.h"
#include "sdk/ScopedHandles.h"

namespace host {

namespace {

void Fail(FetchResult& result, HRESULT status, int code, std::wstring text) {
    result.error.status = status;
    result.error.code = code;
    result.error.text = std::move(text);
}

std::string ValidatorOf(const struct stat& info) {
    const int64_t ns = static_cast<int64_t>(info.st_mtim.tv_sec) * 1000000000 + info.st_mtim.tv_nsec;
    return std::to_string(static_cast<int64_t>(info.st_size)) + "-" + std::to_string(ns);
}

// Copies up to `size` bytes of `in` at `at` to `out` at the same offset.
// Returns the bytes copied (0 at the source's end) or -1 with errno set and
// `writing` telling which side failed when it is known.
class ChunkCopier final {
public:
    ssize_t Copy(int in, int out, int64_t at, size_t size, bool& writing) {
        writing = false;
        while (m_kernel) {
            loff_t from = at, to = at;
            const ssize_t n = ::copy_file_range(in, &from, out, &to, size, 0);
            if (n >= 0) return n;
            if (errno == EINTR) continue;
            // Not supported between these files (another file system, an
            // old kernel): plain reads and writes from here on.
            if (errno == EXDEV || errno == ENOSYS || errno == EINVAL || errno == EOPNOTSUPP || errno == ETXTBSY ||
                errno == EBADF) {
                m_kernel = false;
                break;
            }
            writing = errno == ENOSPC || errno == EDQUOT || errno == EFBIG;
            return -1;
        }
        if (m_buffer.empty()) m_buffer.resize(FileScheme::kChunk);
        ssize_t n;
        do n = ::pread(in, m_buffer.data(), std::min(size, m_buffer.size()), at);
        while (n < 0 && errno == EINTR);
        if (n <= 0) return n;
        writing = true;
        for (ssize_t done = 0; done < n;) {
            const ssize_t w = ::pwrite(out, m_buffer.data() + done, static_cast<size_t>(n - done), at + done);
            if (w < 0 && errno == EINTR) continue;
            if (w < 0) return -1;
            done += w;
        }
        return n;
    }

private:
    bool m_kernel = true;
    std::vector<char> m_buffer;
};

} // namespace

HRESULT FileScheme::put_Parameters(IParameters* parameters) {
    std::wstring hostName = parameters ? TextSetting(parameters, L"HOSTNAME").value_or(L"") : std::wstring();
    std::lock_guard guard(m_lock);
    m_hostName = std::move(hostName);
    return S_OK;
}

HRESULT FileScheme::Advise(IUnknown* listener, int32_t on) { return m_listeners.Advise(listener, on); }

FetchResult FileScheme::Fetch(const FetchRequest& request) {
    FetchResult result;
    std::wstring base;
    {
        std::lock_guard guard(m_lock);
        base = m_hostName;
    }
    std::string path;
    std::wstring why;
    if (!LocalPathOfName(request.url, base, path, why)) {
        Fail(result, E_FAIL, EINVAL, why);
        return result;
    }
    const std::wstring shown = FileNameToWide(path);
    // O_NONBLOCK: a pipe under the name must not hold the open up.
    ScopedFD source(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat before {};
    if (!source.IsOpen()) {
        const int code = errno;
        Fail(result, E_FAIL, code,
             code == ENOENT ? L"no such file: " + shown : L"cannot open " + shown + L": " + ErrnoText(code));
        return result;
    }
    if (::fstat(source.Get(), &before) != 0 || !S_ISREG(before.st_mode)) {
        Fail(result, E_FAIL, EINVAL, L"not a regular file: " + shown);
        return result;
    }
    const int64_t total = before.st_size;
    result.validator = ValidatorOf(before);
    int64_t at = 0;
    if (request.offset > 0 && request.offset <= total && request.validator == result.validator) at = request.offset;
    // The work file holds exactly the bytes the copy goes on from.
    if (::ftruncate(request.fd, at) != 0) {
        Fail(result, E_FAIL, errno, L"cannot write the work file: " + ErrnoText(errno));
        return result;
    }
    if (request.versionKnown) request.versionKnown(result.validator);

    IUnknown* self = static_cast<IFileArchiveScheme*>(this);
    ProgressPace pace;
    ChunkCopier copier;
    while (at < total) {
        result.size = at;
        if (request.stop && request.stop->load()) {
            Fail(result, E_ABORT, 0, L"stopped");
            return result;
        }
        bool writing = false;
        const ssize_t n =
            copier.Copy(source.Get(), request.fd, at, static_cast<size_t>(std::min<int64_t>(total - at, kChunk)), writing);
        if (n < 0) {
            const int code = errno;
            Fail(result, E_FAIL, code,
                 (writing ? L"cannot write the work file: " : L"cannot read " + shown + L": ") + ErrnoText(code));
            return result;
        }
        if (n == 0) break; // the source shrank; found below
        at += n;
        if (pace.Due(at, false)) m_listeners.Report(self, at, total, request.link);
    }
    result.size = at;
    struct stat after {};
    if (at != total || ::fstat(source.Get(), &after) != 0 || ValidatorOf(after) != result.validator) {
        // Bytes of two versions may be mixed: none of them is worth resuming.
        result.validator.clear();
        Fail(result, E_FAIL, 0, L"the file " + shown + L" changed while it was copied");
        return result;
    }
    if (pace.Due(at, true)) m_listeners.Report(self, at, total, request.link);
    result.complete = true;
    return result;
}

HRESULT CreateFileScheme(const IID* iid, void** out) { return CreateHostComponent<FileScheme>(iid, out); }

} // namespace host
