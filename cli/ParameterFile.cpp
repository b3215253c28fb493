#include "cli/ParameterFile.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "cli/CliError.h"
#include "cli/HostRuntime.h"
#include "cli/Text.h"

namespace cli {

namespace {

std::string StatusText(HRESULT hr) {
    char buffer[16];
    std::snprintf(buffer, sizeof buffer, "0x%08X", static_cast<unsigned>(hr));
    return buffer;
}

// A new XML stream bound to the file.
IPtr<IFileArchive> OpenXmlFile(const HostRuntime& runtime, const std::string& path) {
    auto archive = runtime.Create<IFileArchive>(L"XMLStream");
    if (!archive) throw Failure("the host runtime has no XMLStream");
    auto name = FromUtf8(path);
    if (!name) throw UsageError("the file name " + path + " is not valid UTF-8");
    HRESULT hr = archive->put_Filename(runtime.NewString(*name).Get());
    if (FAILED(hr)) throw Failure("the XML stream refused the file name " + path);
    return archive;
}

IPtr<IDataPersist> PersistOf(IUnknown* component) {
    auto persist = QueryAs<IDataPersist>(component);
    if (!persist) throw Failure("the component cannot save or load its parameters");
    return persist;
}

} // namespace

void LoadParameterFile(const HostRuntime& runtime, IUnknown* component, const std::string& path) {
    if (access(path.c_str(), R_OK) != 0)
        throw UsageError("cannot read parameters file " + path + ": " + std::strerror(errno));
    auto persist = PersistOf(component);
    auto archive = OpenXmlFile(runtime, path);
    if (FAILED(archive->Load())) {
        // The stream's own reason: the parser's message and where it stopped.
        std::wstring reason;
        IPtr<IString> text;
        if (auto errors = archive.Query<IStreamErrorText>();
            errors && errors->get_ErrorText(text.Out()) == S_OK)
            reason = TextOf(text.Get());
        throw UsageError("parameters file " + path + " is not a readable XML document" +
                         (reason.empty() ? std::string() : ": " + ToUtf8(reason)));
    }
    auto stream = archive.Query<IDataStream>();
    if (!stream) throw Failure("the XML stream has no data stream face");
    HRESULT hr = persist->Load(stream.Get(), 0);
    if (FAILED(hr)) throw Failure("loading parameters from " + path + " failed with status " + StatusText(hr));
}

void SaveParameterFile(const HostRuntime& runtime, IUnknown* component, const std::string& path) {
    auto persist = PersistOf(component);
    auto archive = OpenXmlFile(runtime, path);
    auto stream = archive.Query<IDataStream>();
    if (!stream) throw Failure("the XML stream has no data stream face");
    HRESULT hr = persist->Save(stream.Get(), 0);
    if (FAILED(hr)) throw Failure("saving parameters failed with status " + StatusText(hr));
    if (FAILED(archive->Save())) throw Failure("cannot write parameters file " + path);
}

} // namespace cli
