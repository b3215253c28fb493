#include "cli/Manifest.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <openssl/evp.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <vector>

#include "cli/CliError.h"
#include "cli/FolderChecks.h"
#include "sdk/ScopedHandles.h"

namespace cli {

namespace {

struct DigestFree {
    void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
};

std::string Reason(const std::string& what) { return what + ": " + std::strerror(errno); }

std::string Sha256(const std::string& path) {
    ScopedFD file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
    if (!file.IsOpen()) throw Failure(Reason("cannot read " + path));
    std::unique_ptr<EVP_MD_CTX, DigestFree> context(EVP_MD_CTX_new());
    if (!context || EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr) != 1)
        throw Failure("SHA-256 is not available");
    std::vector<unsigned char> buffer(1 << 20);
    for (;;) {
        const ssize_t n = ::read(file.Get(), buffer.data(), buffer.size());
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) throw Failure(Reason("cannot read " + path));
        if (n == 0) break;
        EVP_DigestUpdate(context.get(), buffer.data(), static_cast<size_t>(n));
    }
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int size = 0;
    EVP_DigestFinal_ex(context.get(), digest, &size);
    static const char hex[] = "0123456789abcdef";
    std::string text;
    for (unsigned int i = 0; i < size; ++i) {
        text += hex[digest[i] >> 4];
        text += hex[digest[i] & 15];
    }
    return text;
}

// The relative paths of the regular files below `folder` ("" is the top).
void Collect(const std::string& root, const std::string& relative, std::vector<std::string>& files) {
    const std::string folder = relative.empty() ? root : root + "/" + relative;
    ScopedDIR listing(::opendir(folder.c_str()));
    if (!listing) throw Failure(Reason("cannot list " + folder));
    while (const dirent* entry = ::readdir(listing.get())) {
        const std::string name = entry->d_name;
        if (name == "." || name == "..") continue;
        const std::string path = relative.empty() ? name : relative + "/" + name;
        struct stat info {};
        if (::lstat((root + "/" + path).c_str(), &info) != 0) throw Failure(Reason("cannot read " + root + "/" + path));
        if (S_ISDIR(info.st_mode)) Collect(root, path, files);
        else if (S_ISREG(info.st_mode)) files.push_back(path);
    }
}

// A line as sha256sum writes it.
std::string Line(const std::string& hash, const std::string& path) {
    if (path.find_first_of("\\\n") == std::string::npos) return hash + "  " + path + "\n";
    std::string escaped;
    for (char c : path) escaped += c == '\\' ? "\\\\" : c == '\n' ? "\\n" : std::string(1, c);
    return "\\" + hash + "  " + escaped + "\n";
}

} // namespace

void WriteManifest(const std::string& folder, const std::string& path) {
    const std::string root = WithoutTrailingSlash(AbsolutePath(folder));
    const std::string target = AbsolutePath(path);
    std::vector<std::string> files;
    Collect(root, "", files);
    std::sort(files.begin(), files.end());

    const std::string work = target + ".part";
    std::string text;
    for (const std::string& file : files) {
        const std::string full = root + "/" + file;
        if (full == target || full == work) continue;
        text += Line(Sha256(full), file);
    }
    ScopedFD out(::open(work.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0666));
    if (!out.IsOpen()) throw Failure(Reason("cannot write " + work));
    const char* data = text.data();
    size_t left = text.size();
    while (left > 0) {
        const ssize_t n = ::write(out.Get(), data, left);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) {
            const std::string why = Reason("cannot write " + work);
            ::unlink(work.c_str());
            throw Failure(why);
        }
        data += n;
        left -= static_cast<size_t>(n);
    }
    if (::fsync(out.Get()) != 0 || ::rename(work.c_str(), target.c_str()) != 0) {
        const std::string why = Reason("cannot write " + target);
        ::unlink(work.c_str());
        throw Failure(why);
    }
}

} // namespace cli
