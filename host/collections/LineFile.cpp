#include "host/collections/LineFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "sdk/ScopedHandles.h"
#include "host/base/WorkFile.h"
#include "host/text/FileNameEncoding.h"
#include "host/text/Utf8.h"

namespace host {

std::vector<std::wstring> SplitLines(std::string_view bytes) {
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    if (bytes.substr(0, kByteOrderMark.size()) == kByteOrderMark) bytes.remove_prefix(kByteOrderMark.size());
    std::vector<std::wstring> lines;
    while (!bytes.empty()) {
        const size_t end = bytes.find('\n');
        std::string_view line = bytes.substr(0, end);
        bytes.remove_prefix(end == std::string_view::npos ? bytes.size() : end + 1);
        if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
        lines.push_back(FromUtf8(line));
    }
    return lines;
}

int ReadLines(std::wstring_view path, std::vector<std::wstring>& lines) {
    lines.clear();
    if (path.empty()) return ENOENT;
    // Not blocking: a pipe under the name must not hold the reader; it is
    // refused below.
    ScopedFD file(::open(FileNameToBytes(path).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!file.IsOpen()) return errno;
    struct stat st {};
    if (::fstat(file.Get(), &st) != 0) return errno;
    if (S_ISDIR(st.st_mode)) return EISDIR;
    if (!S_ISREG(st.st_mode)) return EINVAL;
    std::string bytes;
    char chunk[65536];
    for (;;) {
        const ssize_t n = ::read(file.Get(), chunk, sizeof chunk);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return errno;
        if (n == 0) break;
        bytes.append(chunk, static_cast<size_t>(n));
    }
    lines = SplitLines(bytes);
    return 0;
}

int WriteLines(std::wstring_view path, const std::vector<std::wstring>& lines) {
    if (path.empty()) return ENOENT;
    const std::string bytes = FileNameToBytes(path);
    const size_t slash = bytes.rfind('/');
    const std::string folderPath = slash == std::string::npos ? "." : slash == 0 ? "/" : bytes.substr(0, slash);
    const std::string name = slash == std::string::npos ? bytes : bytes.substr(slash + 1);
    if (name.empty()) return EISDIR;

    ScopedFD folder(::open(folderPath.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder.IsOpen()) return errno;
    std::string text;
    for (const std::wstring& line : lines) text.append(ToUtf8(line)).push_back('\n');

    WorkFile work;
    if (int error = work.Create(folder.Get())) return error;
    struct stat existing {};
    if (::fstatat(folder.Get(), name.c_str(), &existing, AT_SYMLINK_NOFOLLOW) == 0 && S_ISREG(existing.st_mode))
        ::fchmod(work.Fd(), existing.st_mode & 07777);
    if (int error = work.Write(text.data(), text.size())) return error;
    if (int error = work.Finish()) return error;
    return work.ReplaceAs(name);
}

} // namespace host
