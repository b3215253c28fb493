#include "cli/Manifest.h"

#include <dirent.h>
#include <sys/stat.h>

#include <openssl/evp.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

#include "cli/CliError.h"
#include "cli/FileStreams.h"
#include "cli/FolderChecks.h"
#include "cli/HostRuntime.h"
#include "sdk/ScopedHandles.h"

namespace cli {

namespace {

std::string Reason(const std::string& what) { return what + ": " + std::strerror(errno); }

// The file's SHA-256 in hexadecimal, over the host's mapping of it.
std::string Sha256(const HostRuntime& runtime, const std::string& path) {
    IPtr<IFileDataStream> file = OpenFileStream(runtime, path);
    void* data = nullptr;
    unsigned long size = 0;
    file->GetStream(&data, &size);
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    if (EVP_Digest(size ? data : "", size, digest, &length, EVP_sha256(), nullptr) != 1)
        throw Failure("SHA-256 is not available");
    static const char hex[] = "0123456789abcdef";
    std::string text;
    for (unsigned int i = 0; i < length; ++i) {
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

void WriteManifest(const HostRuntime& runtime, const std::string& folder, const std::string& path) {
    const std::string root = WithoutTrailingSlash(AbsolutePath(folder));
    const std::string target = AbsolutePath(path);
    std::vector<std::string> files;
    Collect(root, "", files);
    std::sort(files.begin(), files.end());

    std::string text;
    for (const std::string& file : files)
        if (root + "/" + file != target) text += Line(Sha256(runtime, root + "/" + file), file);
    auto stream = runtime.Create<IDataStream>(L"DataStream");
    unsigned int written = 0;
    if (!stream || FAILED(stream->Write(text.data(), static_cast<unsigned int>(text.size()), &written)))
        throw Failure("cannot hold the manifest in memory");
    SaveStreamToFile(runtime, stream.Get(), target);
}

} // namespace cli
