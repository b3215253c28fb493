// shadow convert IN OUT [layers] [--revert] [--force]
//
// Protects and restores files through the "STREAMConvert" step: the options
// choose its parameters, the step hands the file to the host's stream
// transformer, and the result is written to OUT through a work file renamed
// into place, so OUT never holds a partial result. With --zip the input is
// a folder packed as one zip archive; with --revert --unzip the restored
// archive is unpacked into a folder.
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "cli/CliError.h"
#include "cli/Commands.h"
#include "cli/Components.h"
#include "cli/FailureWatch.h"
#include "cli/FileStreams.h"
#include "cli/HostRuntime.h"
#include "cli/ParameterTable.h"
#include "cli/StepRunner.h"
#include "cli/Text.h"

namespace cli {

namespace {

// The indexes of the step's choices, as its parameter table lists them.
enum HeaderChoice { HEADER_OFF = 0, HEADER_MANUAL = 1, HEADER_AUTO = 2 };
enum CompressChoice { COMPRESS_OFF = 0, COMPRESS_ZLIB = 1, COMPRESS_RAW = 2 };
enum EncryptChoice { ENCRYPT_OFF = 0, ENCRYPT_WITH_KEY = 1, ENCRYPT_CONFIGURED_KEY = 2 };
enum MimeChoice { MIME_OFF = 0, MIME_BASE64 = 1, MIME_HEX = 2, MIME_BASE64_WIDE = 3 };

// The longest key file read; a key is a pass phrase, not a document.
constexpr size_t kMaxKeyFileBytes = 64 * 1024;

struct ConvertOptions {
    std::vector<std::string> files;
    std::string zipFolder;   // --zip FOLDER: the input is this folder, packed
    std::string unzipFolder; // --unzip DIR: the restored archive is unpacked here
    int compress = COMPRESS_OFF;
    bool encrypt = false;
    std::string keyFile;
    std::string keyEnv;
    bool sha256 = false;
    int mime = MIME_OFF;
    std::optional<std::string> header; // --header TEXT
    bool autoHeader = false;
    bool revert = false;
    bool force = false;
    bool help = false;
};

// Sets `slot` to `value`, refusing a second, different choice of the same
// group ("--hex --base64").
void Choose(int& slot, int value, const std::string& arg, const char* group) {
    if (slot != 0 && slot != value) throw UsageError(arg + " conflicts with another " + group + " option");
    slot = value;
}

ConvertOptions ParseConvert(const Arguments& args) {
    ConvertOptions o;
    bool optionsEnded = false;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (optionsEnded || arg.size() < 2 || arg[0] != '-') {
            o.files.push_back(arg);
            continue;
        }
        if (arg == "--") optionsEnded = true;
        else if (IsHelpOption(arg)) o.help = true;
        else if (arg == "--compress") Choose(o.compress, COMPRESS_ZLIB, arg, "compression");
        else if (arg == "--compress-raw") Choose(o.compress, COMPRESS_RAW, arg, "compression");
        else if (arg == "--encrypt") o.encrypt = true;
        else if (TakeOption(args, i, "--key-file", o.keyFile) || TakeOption(args, i, "--key-env", o.keyEnv)) {
        }
        else if (arg == "--sha256") o.sha256 = true;
        else if (arg == "--base64") Choose(o.mime, MIME_BASE64, arg, "MIME");
        else if (arg == "--hex") Choose(o.mime, MIME_HEX, arg, "MIME");
        else if (arg == "--base64-wide") Choose(o.mime, MIME_BASE64_WIDE, arg, "MIME");
        else if (std::string header; TakeOption(args, i, "--header", header)) o.header = header;
        else if (arg == "--auto-header") o.autoHeader = true;
        else if (arg == "--revert") o.revert = true;
        else if (arg == "--force") o.force = true;
        else if (TakeOption(args, i, "--zip", o.zipFolder) || TakeOption(args, i, "--unzip", o.unzipFolder)) {
        }
        else throw UsageError("unknown option " + arg + " for convert; see 'shadow convert --help'");
    }
    if (o.help) return o;
    if (!o.keyFile.empty() && !o.keyEnv.empty()) throw UsageError("--key-file and --key-env exclude each other");
    if ((!o.keyFile.empty() || !o.keyEnv.empty()) && !o.encrypt)
        throw UsageError("a key is used with --encrypt only");
    if (o.header && o.autoHeader) throw UsageError("--header and --auto-header exclude each other");
    if (o.header && o.header->empty()) throw UsageError("--header needs a text");
    if (!o.zipFolder.empty() && o.revert) throw UsageError("--zip packs a folder on the way in; to restore one use --revert --unzip DIR");
    if (!o.unzipFolder.empty() && !o.revert) throw UsageError("--unzip unpacks a restored archive and needs --revert");
    const size_t wanted = o.zipFolder.empty() && o.unzipFolder.empty() ? 2 : 1;
    if (o.files.size() != wanted) {
        const char* form = !o.zipFolder.empty()    ? "--zip FOLDER OUT"
                           : !o.unzipFolder.empty() ? "--unzip DIR IN"
                                                    : "IN OUT";
        throw UsageError(std::string("convert needs ") + form + "; see 'shadow convert --help'");
    }
    return o;
}

// The key text: the key file's content without its trailing line end, or
// the environment variable's value. Never printed.
std::wstring ReadKey(const ConvertOptions& o) {
    std::string bytes;
    if (!o.keyEnv.empty()) {
        const char* value = std::getenv(o.keyEnv.c_str());
        if (!value || !*value) throw UsageError("the environment variable " + o.keyEnv + " holds no key");
        bytes = value;
    } else {
        std::FILE* file = std::fopen(o.keyFile.c_str(), "rb");
        if (!file) throw Failure("cannot read the key file " + o.keyFile + ": " + std::strerror(errno));
        bytes.resize(kMaxKeyFileBytes + 1);
        bytes.resize(std::fread(bytes.data(), 1, bytes.size(), file));
        const bool failed = std::ferror(file) != 0;
        std::fclose(file);
        if (failed) throw Failure("cannot read the key file " + o.keyFile);
        if (bytes.size() > kMaxKeyFileBytes) throw UsageError("the key file " + o.keyFile + " is larger than 64 KiB");
        if (!bytes.empty() && bytes.back() == '\n') bytes.pop_back();
        if (!bytes.empty() && bytes.back() == '\r') bytes.pop_back();
        if (bytes.empty()) throw UsageError("the key file " + o.keyFile + " holds no key");
    }
    auto key = FromUtf8(bytes);
    if (!key) throw UsageError("the key is not valid UTF-8 text");
    return *key;
}

// On revert, the manual header was written in front and the step does not
// remove it: the input must start with exactly that text. The result is a
// data stream over the bytes after it, without a copy; the file stream must
// outlive it.
IPtr<IDataStream> WithoutHeader(const HostRuntime& runtime, IDataStream* file, const std::string& header,
                                const std::string& path) {
    void* data = nullptr;
    unsigned long size = 0;
    file->GetStream(&data, &size);
    if (size < header.size() || std::memcmp(data, header.data(), header.size()) != 0)
        throw Failure(path + " does not start with the header \"" + header + "\"");
    auto rest = runtime.Create<IDataStream>(L"DataStream");
    if (!rest || FAILED(rest->Create(static_cast<char*>(data) + header.size(), size - header.size(), 0)))
        throw Failure("the host runtime cannot make a data stream");
    return rest;
}

void CheckTarget(const std::string& path, bool force) {
    struct stat info;
    if (lstat(path.c_str(), &info) != 0) return;
    if (S_ISDIR(info.st_mode)) throw UsageError(path + " is a folder; give a file name for the result");
    if (!force) throw UsageError(path + " exists; --force replaces it");
}

} // namespace

int ConvertCommand(const Arguments& args) {
    ConvertOptions o = ParseConvert(args);
    if (o.help) {
        std::fputs(ConvertHelp(), stdout);
        return EXIT_SUCCESS_CODE;
    }
    // "--zip FOLDER OUT", "--unzip DIR IN" or "IN OUT".
    const std::string input = o.zipFolder.empty() ? o.files.front() : o.zipFolder;
    const std::string output = o.unzipFolder.empty() ? o.files.back() : o.unzipFolder;
    if (o.unzipFolder.empty()) CheckTarget(output, o.force);
    std::optional<std::wstring> key;
    if (o.encrypt && (!o.keyFile.empty() || !o.keyEnv.empty())) key = ReadKey(o);

    auto runtime = HostRuntime::Start();
    FailureWatch failures(*runtime);

    // The input: a folder packed as one archive, or the file's bytes.
    IPtr<IUnknown> source;
    IPtr<IFileDataStream> file;
    unsigned long inputBytes = 0;
    if (!o.zipFolder.empty()) {
        auto zip = runtime->Create<IZipFile>(L"ZipFile");
        if (!zip) throw Failure("the host runtime offers no \"ZipFile\"");
        if (FAILED(zip->AddFolder(runtime->NewString(WideArgument(o.zipFolder)).Get())))
            throw Failure(StreamFailureText(zip.Get(), "cannot pack the folder " + o.zipFolder));
        source.Reset(zip.Get());
    } else {
        file = OpenFileStream(*runtime, input);
        inputBytes = StreamSize(file.Get());
        if (o.revert && o.header) source.Reset(WithoutHeader(*runtime, file.Get(), *o.header, input).Get());
        else source.Reset(file.Get());
    }

    std::wstring name;
    auto step = CreateModuleComponent(*runtime, L"STREAMConvert", &name);
    auto parameters = step.Query<IParameters>();
    if (!parameters) throw Failure("the STREAMConvert step has no parameters");
    const std::vector<ParameterInfo> all = ReadParameters(parameters.Get());
    auto stream = runtime->NewVariant();
    stream->put_Unknown(source.Get());
    PutParameter(parameters.Get(), all, L"Stream", stream.Get());
    if (o.autoHeader) PutIntegerParameter(*runtime, parameters.Get(), all, L"Header", HEADER_AUTO);
    if (o.header) {
        PutIntegerParameter(*runtime, parameters.Get(), all, L"Header", HEADER_MANUAL);
        PutParameter(parameters.Get(), all, L"OptionalHeader", runtime->NewString(WideArgument(*o.header)).Get());
    }
    PutIntegerParameter(*runtime, parameters.Get(), all, L"Compress", o.compress);
    if (o.encrypt) {
        // Only the first mode hands its key to the transformer; the others
        // leave it to the key configured in the host's settings.
        PutIntegerParameter(*runtime, parameters.Get(), all, L"Encrypt", key ? ENCRYPT_WITH_KEY : ENCRYPT_CONFIGURED_KEY);
        if (key) PutParameter(parameters.Get(), all, L"Key", runtime->NewString(*key).Get());
    }
    if (o.sha256) PutIntegerParameter(*runtime, parameters.Get(), all, L"Authenticate", 1);
    PutIntegerParameter(*runtime, parameters.Get(), all, L"Mime", o.mime);
    PutIntegerParameter(*runtime, parameters.Get(), all, L"Revert", o.revert ? 1 : 0);

    StepOutcome outcome = RunStep(step.Get(), nullptr);
    int code = ExitCodeOf(outcome, nullptr, ToUtf8(name), &failures);
    if (code != EXIT_SUCCESS_CODE) {
        if (o.encrypt && !key)
            std::fprintf(stderr, "shadow: without a key configured in the settings, give one with --key-file F "
                                 "or --key-env VAR\n");
        return code;
    }

    IPtr<IVariant> value;
    parameters->get_ItemVariant(RequireParameter(all, L"OutputStream").index, value.Out());
    IPtr<IUnknown> object;
    if (value) value->get_Object(object.Out());
    auto result = QueryAs<IDataStream>(object.Get());
    if (!result) throw Failure(std::string(o.revert ? "restoring " : "converting ") + input + " gave no result");
    const unsigned long outputBytes = StreamSize(result.Get());

    if (!o.unzipFolder.empty()) {
        auto zip = runtime->Create<IZipFile>(L"ZipFile");
        auto persist = zip.Query<IDataPersist>();
        if (!persist) throw Failure("the host runtime offers no \"ZipFile\"");
        if (FAILED(persist->Load(result.Get(), 0)))
            throw Failure(StreamFailureText(zip.Get(), "the restored content of " + input + " is no zip archive"));
        if (FAILED(zip->ExtractTo(runtime->NewString(WideArgument(o.unzipFolder)).Get())))
            throw Failure(StreamFailureText(zip.Get(), "cannot unpack into " + o.unzipFolder));
    } else {
        SaveStreamToFile(*runtime, result.Get(), output);
    }
    if (o.zipFolder.empty())
        std::printf("%s (%lu bytes) -> %s (%lu bytes)\n", input.c_str(), inputBytes, output.c_str(), outputBytes);
    else
        std::printf("%s (packed) -> %s (%lu bytes)\n", input.c_str(), output.c_str(), outputBytes);
    return code;
}

} // namespace cli
