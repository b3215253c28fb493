#include "cli/FileStreams.h"

#include "cli/CliError.h"
#include "cli/HostRuntime.h"
#include "cli/Text.h"

namespace cli {

namespace {

} // namespace

std::string StreamFailureText(IUnknown* stream, const std::string& fallback) {
    auto errors = QueryAs<IStreamErrorText>(stream);
    IPtr<IString> text;
    if (errors && errors->get_ErrorText(text.Out()) == S_OK && text) {
        std::string reason = ToUtf8(TextOf(text.Get()));
        if (!reason.empty()) return reason;
    }
    return fallback;
}

namespace {

IPtr<IFileDataStream> NewFileStream(const HostRuntime& runtime) {
    auto file = runtime.Create<IFileDataStream>(L"File");
    if (!file) throw Failure("the host runtime offers no \"File\" data stream");
    return file;
}

IPtr<IString> PathString(const HostRuntime& runtime, const std::string& path) {
    auto wide = FromUtf8(path);
    if (!wide) throw UsageError("file name \"" + path + "\" is not valid UTF-8 text");
    return runtime.NewString(*wide);
}

} // namespace

IPtr<IFileDataStream> OpenFileStream(const HostRuntime& runtime, const std::string& path) {
    auto file = NewFileStream(runtime);
    if (FAILED(file->Open(PathString(runtime, path).Get())))
        throw Failure(StreamFailureText(file.Get(), "cannot read " + path));
    return file;
}

void SaveStreamToFile(const HostRuntime& runtime, IDataStream* content, const std::string& path) {
    auto file = NewFileStream(runtime);
    if (FAILED(file->SaveStream(content, PathString(runtime, path).Get())))
        throw Failure(StreamFailureText(file.Get(), "cannot write " + path));
}

void SaveValueToFile(const HostRuntime& runtime, IVariant* value, const std::string& what, const std::string& path) {
    int32_t type = VARIANT_EMPTY;
    if (value) value->get_Type(&type);
    IPtr<IString> string;
    if (type == VARIANT_OBJECT) {
        IPtr<IUnknown> object;
        value->get_Object(object.Out());
        if (auto stream = QueryAs<IDataStream>(object.Get())) return SaveStreamToFile(runtime, stream.Get(), path);
        string = QueryAs<IString>(object.Get());
        if (!string)
            throw Failure(what + " holds an object that is neither a data stream nor text; nothing written to " + path);
    } else if (type == VARIANT_STRING) {
        value->get_String(string.Out());
    } else {
        throw Failure(what + " has no result to write; nothing written to " + path);
    }
    const std::string bytes = ToUtf8(TextOf(string.Get()));
    auto buffer = runtime.Create<IDataStream>(L"DataStream");
    unsigned int written = 0;
    if (!buffer || FAILED(buffer->Create(nullptr, static_cast<unsigned long>(bytes.size()), 1)) ||
        (!bytes.empty() && FAILED(buffer->Write(bytes.data(), static_cast<unsigned int>(bytes.size()), &written))))
        throw Failure("cannot hold the text of " + what + " in memory");
    SaveStreamToFile(runtime, buffer.Get(), path);
}

unsigned long StreamSize(IDataStream* stream) {
    void* data = nullptr;
    unsigned long size = 0;
    if (!stream || FAILED(stream->GetStream(&data, &size))) return 0;
    return size;
}

} // namespace cli
