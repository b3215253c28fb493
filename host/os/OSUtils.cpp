#include "host/os/OSUtils.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "host/os/CommandWords.h"
#include "host/os/Spawn.h"
#include "host/runtime/EventLogLine.h"
#include "host/runtime/GlobalComponentCollection.h"
#include "host/text/ErrnoText.h"
#include "host/text/FileNameEncoding.h"
#include "sdk/UrlText.h"
#include "host/values/HostStrings.h"
#include "sdk/Registry.h"

namespace host {

namespace {

constexpr wchar_t kSection[] = L"FileHandlers";

HRESULT Fail(HRESULT hr, const std::wstring& text) {
    WriteEventLogError(L"OSUtils", text);
    return hr;
}

std::wstring Quoted(std::wstring_view word) { return L"\"" + UrlWithoutCredentials(word) + L"\""; }

// The text after the last "." of the last path component; empty when there
// is none.
std::wstring Extension(std::wstring_view word) {
    const size_t slash = word.find_last_of(L'/');
    const std::wstring_view name = slash == std::wstring_view::npos ? word : word.substr(slash + 1);
    const size_t dot = name.find_last_of(L'.');
    return dot == std::wstring_view::npos ? std::wstring() : std::wstring(name.substr(dot + 1));
}

// The handler's command line registered for `extension`; the key must match
// exactly (the registry itself would fold the case of ASCII letters).
std::optional<std::wstring> RegisteredHandler(const std::wstring& extension) {
    IPtr<IRegistryEx> registry;
    if (FAILED(GlobalCollection()->CreateComponent(REFLiteral(L"Registry"), &IPtr<IRegistryEx>::Id(),
                                                   registry.OutVoid())) ||
        !registry)
        return std::nullopt;
    IPtr<INamedCollection> keys;
    if (FAILED(registry->GetSection(REFLiteral(kSection), keys.Out())) || !keys) return std::nullopt;
    int32_t count = 0;
    keys->get_Count(&count);
    for (int32_t i = 0; i < count; ++i) {
        IPtr<IString> name;
        if (FAILED(keys->get_ItemName(i, name.Out())) || ToWide(name.Get()) != extension) continue;
        IPtr<IUnknown> value;
        if (FAILED(keys->get_Item(i, value.Out()))) return std::nullopt;
        return ToWide(QueryAs<IString>(value.Get()).Get());
    }
    return std::nullopt;
}

std::string Bytes(std::wstring_view word) { return FileNameToBytes(word); }

// 0 when `path` is a regular file (links followed), else the errno, with
// EINVAL standing for "there, but not a regular file".
int RegularFile(const std::string& path, bool* executable = nullptr) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) return errno;
    if (!S_ISREG(status.st_mode)) return EINVAL;
    if (executable) *executable = ::access(path.c_str(), X_OK) == 0;
    return 0;
}

HRESULT NoHandler(const std::wstring& path, const std::wstring& extension) {
    const std::wstring key = extension.empty() ? L"<extension>" : extension;
    return Fail(E_FAIL, L"no program is registered to open " + Quoted(path) + L": add one under [" + kSection +
                            L"] " + key + L"=<program> %f in the settings");
}

// 0 when the program of `words` started, else the errno.
int Spawn(const std::vector<std::wstring>& words) {
    std::vector<std::string> argv;
    argv.reserve(words.size());
    for (const std::wstring& word : words) argv.push_back(Bytes(word));
    return SpawnDetached(argv);
}

HRESULT CannotStart(const std::wstring& program, int error) {
    return Fail(E_FAIL, L"cannot start " + Quoted(program) + L": " + SystemErrorText(error));
}

HRESULT OpenWithHandler(const std::vector<std::wstring>& words, const std::wstring& extension,
                        const std::wstring& handler) {
    const std::wstring& path = words[0];
    if (int error = RegularFile(Bytes(path)))
        return Fail(E_FAIL, L"cannot open " + Quoted(path) + L": " +
                                (error == EINVAL ? std::wstring(L"not a regular file") : SystemErrorText(error)));
    std::wstring why;
    std::optional<std::vector<std::wstring>> line = SplitCommandWords(handler, &why);
    if (line && line->empty()) why = L"it is empty";
    if (!line || line->empty())
        return Fail(E_FAIL, L"the handler of [" + std::wstring(kSection) + L"] " + extension +
                                L" is not a command line: " + why);
    bool placed = false;
    for (std::wstring& word : *line) {
        if (word != L"%f") continue;
        word = path;
        placed = true;
    }
    if (!placed) line->push_back(path);
    line->insert(line->end(), words.begin() + 1, words.end());
    if (int error = Spawn(*line)) return CannotStart(line->front(), error);
    return S_OK;
}

// Callers join a file's path and its arguments with a blank, without
// quoting the path: when the line starts with the absolute path of an
// existing file that holds blanks, the longest such path is the first word
// as it stands and only the rest is split.
std::optional<std::vector<std::wstring>> SplitLine(const std::wstring& line, std::wstring* why) {
    if (line.empty() || line.front() != L'/') return SplitCommandWords(line, why);
    for (size_t end = line.size(); end != std::wstring::npos && end > 0; end = line.rfind(L' ', end - 1)) {
        const std::wstring path = line.substr(0, end);
        if (path.find(L' ') == std::wstring::npos) break;
        bool executable = false;
        if (RegularFile(Bytes(path), &executable) != 0) continue;
        std::optional<std::vector<std::wstring>> rest = SplitCommandWords(line.substr(end), why);
        if (rest) rest->insert(rest->begin(), path);
        return rest;
    }
    return SplitCommandWords(line, why);
}

} // namespace

HRESULT OSUtils::Run(IString* commandLine) {
    if (!commandLine) return E_POINTER;
    std::wstring why;
    const std::optional<std::vector<std::wstring>> words = SplitLine(ToWide(commandLine), &why);
    if (!words) return Fail(E_INVALIDARG, L"the command line cannot be split into words: " + why);
    if (words->empty()) return Fail(E_INVALIDARG, L"the command line is empty");

    const std::wstring& first = words->front();
    const std::wstring extension = Extension(first);
    if (!extension.empty()) {
        if (std::optional<std::wstring> handler = RegisteredHandler(extension))
            return OpenWithHandler(*words, extension, *handler);
    }

    // A file that cannot be run is a document nobody registered a program
    // for: say where one is registered rather than "permission denied".
    bool executable = false;
    const bool hasSlash = first.find(L'/') != std::wstring::npos;
    if (hasSlash && RegularFile(Bytes(first), &executable) == 0 && !executable) return NoHandler(first, extension);
    const int error = Spawn(*words);
    if (!error) return S_OK;
    // A bare name that is no program on PATH may still be a document in
    // the current folder.
    if (!hasSlash && RegularFile(Bytes(first), &executable) == 0 && !executable) return NoHandler(first, extension);
    return CannotStart(first, error);
}

HRESULT CreateOSUtils(const IID* iid, void** out) { return CreateHostComponent<OSUtils>(iid, out); }

} // namespace host
