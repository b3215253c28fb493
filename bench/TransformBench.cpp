// Runs one stream transform of "DataStreamEx" over a file, as the host
// offers it through its component interface, and writes the result to a
// file: the input is mapped and handed over as a fixed data stream over the
// mapping (no copy), the output written to a work name beside the target
// and renamed into place.
//
//   TransformBench forward|revert <options, e.g. 0x4842> <input> <output> [key]
//
// The key, when given, goes to put_Key; otherwise the settings registry's.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "host/streams/DataStream.h"
#include "host/text/Utf8.h"
#include "host/transform/DataStreamEx.h"
#include "host/values/HostStrings.h"
#include "sdk/ScopeExit.h"
#include "sdk/ScopedHandles.h"

namespace {

int Fail(const std::string& why) {
    std::fprintf(stderr, "TransformBench: %s\n", why.c_str());
    return 1;
}

bool WriteAll(int fd, const char* data, size_t size) {
    while (size > 0) {
        // In parts of 1 MB: one huge write makes the kernel copy from a
        // cold source into freshly allocated page-cache pages in one go.
        const ssize_t put = ::write(fd, data, std::min<size_t>(size, size_t{1} << 20));
        if (put <= 0) return false;
        data += put;
        size -= static_cast<size_t>(put);
    }
    return true;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 5) return Fail("usage: TransformBench forward|revert <options> <input> <output> [key]");
    const std::string direction = argv[1];
    const auto options = static_cast<int32_t>(std::strtol(argv[2], nullptr, 0));
    ScopedFD in(::open(argv[3], O_RDONLY | O_CLOEXEC));
    struct stat info {};
    if (in.Get() < 0 || ::fstat(in.Get(), &info) != 0) return Fail(std::string("cannot open ") + argv[3]);
    const auto size = static_cast<size_t>(info.st_size);
    void* mapped = size ? ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE | MAP_POPULATE, in.Get(), 0) : nullptr;
    if (mapped == MAP_FAILED) return Fail("cannot map the input");
    ScopeExit unmap([&] { if (mapped) ::munmap(mapped, size); });

    IPtr<IDataStream> source;
    if (FAILED(host::CreateDataStream(&IPtr<IDataStream>::Id(), source.OutVoid())) ||
        FAILED(source->Create(mapped, static_cast<unsigned long>(size), 0)))
        return Fail("cannot make the input stream");
    IPtr<IDataStreamEx> ex;
    if (FAILED(host::CreateDataStreamEx(&IPtr<IDataStreamEx>::Id(), ex.OutVoid()))) return Fail("no DataStreamEx");
    if (argc > 5) ex->put_Key(host::MakeString(host::FromUtf8(argv[5])).Get());
    IPtr<IUnknown> result;
    const HRESULT hr = direction == "revert" ? ex->RevertStream(source.Get(), result.Out(), options)
                                             : ex->TransformStream(source.Get(), result.Out(), options);
    if (FAILED(hr)) return Fail("the transform failed (see the event log)");
    void* data = nullptr;
    unsigned long length = 0;
    if (FAILED(QueryAs<IDataStream>(result.Get())->GetStream(&data, &length))) return Fail("no result");

    const std::string target = argv[4], work = target + ".part";
    ScopedFD out(::open(work.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
    if (out.Get() < 0 || !WriteAll(out.Get(), static_cast<const char*>(data), length) || ::close(out.Release()) != 0 ||
        ::rename(work.c_str(), target.c_str()) != 0)
        return Fail("cannot write " + target);
    return 0;
}
