// File name mapping against the installation folder and the registry's
// folder mappings, and relative/absolute file names.
#include "parameters/FileNameMapping.h"

#include <algorithm>
#include <cwctype>
#include <string>
#include <string_view>

#include "core/Helpers.h"
#include "module/Module.h"

namespace {

// Registry reads go through a fixed buffer of this many characters.
constexpr int32_t kRegistryBuffer = 178;

constexpr std::wstring_view kInstallToken = L"[InstallPath]";

IString* NewString(std::wstring_view text) { return ISCreate(REFOf(text)); }

// True when `text` begins with `prefix`, compared case-blind; an empty
// prefix never matches.
bool StartsWithI(std::wstring_view text, std::wstring_view prefix) {
    if (prefix.empty() || text.size() < prefix.size()) return false;
    return SUCCEEDED(CREFString(REFOf(text)).CompareI(REFOf(prefix), 1));
}

bool EqualsI(std::wstring_view a, std::wstring_view b) { return a.size() == b.size() && StartsWithI(a, b); }

bool IsSeparator(wchar_t c) { return c == L'/' || c == L'\\'; }

IPtr<IRegistryEx> OpenRegistry() { return CreateHostObject<IRegistryEx>(L"Registry"); }

// Reads one key into `buffer`; the buffer holds an empty text on failure.
HRESULT ReadKey(IRegistry* registry, const wchar_t* section, tagREFString key,
                wchar_t (&buffer)[kRegistryBuffer]) {
    std::fill(std::begin(buffer), std::end(buffer), L'\0');
    HRESULT hr = registry->GetValue(REFLiteral(section), key, buffer, kRegistryBuffer);
    if (FAILED(hr)) buffer[0] = L'\0';
    buffer[kRegistryBuffer - 1] = L'\0';
    return hr;
}

HRESULT ReadKey(IRegistry* registry, const wchar_t* section, const wchar_t* key,
                wchar_t (&buffer)[kRegistryBuffer]) {
    return ReadKey(registry, section, REFLiteral(key), buffer);
}

// Drops one slash of a leading "//" when the text is longer than `minimum`.
std::wstring_view DropDoubleSlash(std::wstring_view text, size_t minimum) {
    if (text.size() > minimum && text.substr(0, 2) == L"//") text.remove_prefix(1);
    return text;
}

// A new string of `text` with every backslash turned into a slash.
IString* NewNormalisedString(std::wstring_view text) {
    IString* result = NewString(text);
    if (result) CheckSeparator(CREFString(result));
    return result;
}

} // namespace

HRESULT FILENAMEGetInstallPath(IString** path) {
    if (!path) return E_POINTER;
    wchar_t buffer[kRegistryBuffer] = {};
    HRESULT hr = E_FAIL;
    if (IPtr<IRegistryEx> registry = OpenRegistry()) hr = ReadKey(registry.Get(), L"Workspace", L"InstallPath", buffer);
    *path = ISCreate(buffer);
    return hr;
}

HRESULT FILENAMEGetAppPath(IString** path) {
    if (!path) return E_POINTER;
    *path = nullptr;
    if (IPtr<IFileArchive> workspace = CreateHostObject<IFileArchive>(L"ActiveWorkspace")) {
        IPtr<IString> file;
        workspace->get_Filename(file.Out());
        std::wstring_view name = ISView(file.Get());
        size_t slash = name.rfind(L'/');
        if (slash != std::wstring_view::npos && slash > 0) {
            *path = NewString(name.substr(0, slash));
            return S_OK;
        }
    }
    wchar_t buffer[kRegistryBuffer] = {};
    HRESULT hr = E_FAIL;
    if (IPtr<IRegistryEx> registry = OpenRegistry()) hr = ReadKey(registry.Get(), L"Workspace", L"AppPath", buffer);
    *path = ISCreate(buffer);
    return hr;
}

HRESULT FILENAMEMap(IString* name, IString** mapped, short relative) {
    if (!mapped) return E_POINTER;
    *mapped = nullptr;
    IPtr<IRegistryEx> registry = OpenRegistry();
    if (!registry) return E_NOREGISTRY;

    wchar_t installBuffer[kRegistryBuffer];
    ReadKey(registry.Get(), L"Workspace", L"InstallPath", installBuffer);
    std::wstring_view text = DropDoubleSlash(ISView(name), 2);
    std::wstring_view install = DropDoubleSlash(installBuffer, 1);

    // A plain prefix test: the match need not end at a separator, so
    // "/opt/app" also matches "/opt/apps/x" (giving "[InstallPath]s/x").
    if (StartsWithI(text, install)) {
        std::wstring_view rest = text.substr(install.size());
        if (relative) {
            if (!rest.empty() && IsSeparator(rest.front())) rest.remove_prefix(1);
            *mapped = NewString(rest.empty() ? kInstallToken : rest);
        } else {
            *mapped = NewString(std::wstring(kInstallToken).append(rest));
        }
        return *mapped ? S_OK : E_FAIL;
    }

    IPtr<INamedCollection> mappings;
    HRESULT hr = registry->GetSection(REFLiteral(L"Mappings"), mappings.Out());
    if (FAILED(hr)) return hr;
    if (!mappings) return E_FAIL;
    int32_t count = 0;
    mappings->get_Count(&count);
    for (int32_t i = 0; i < count; ++i) {
        IPtr<IString> key;
        IPtr<IUnknown> item;
        if (FAILED(mappings->get_ItemName(i, key.Out())) || FAILED(mappings->get_Item(i, item.Out()))) continue;
        IPtr<IString> folderString = item.Query<IString>();
        std::wstring_view folder = ISView(folderString.Get());
        if (folder.size() > text.size() || !StartsWithI(text, folder)) continue;
        std::wstring result = L"[";
        result.append(ISView(key.Get())).append(L"]").append(text.substr(folder.size()));
        *mapped = NewString(result);
        return *mapped ? S_OK : E_FAIL;
    }
    return E_FAIL;
}

HRESULT FILENAMEUnmap(IString* mapped, IString** name) {
    if (!name) return E_POINTER;
    *name = nullptr;
    std::wstring_view text = ISView(mapped);
    if (text.empty() || text.front() != L'[') return E_FAIL;
    size_t close = text.find(L']');
    if (close == std::wstring_view::npos) return E_FAIL;
    std::wstring_view token = text.substr(1, close - 1);

    IPtr<IRegistryEx> registry = OpenRegistry();
    if (!registry) return E_FAIL;
    wchar_t buffer[kRegistryBuffer];
    HRESULT hr;
    if (EqualsI(token, kInstallToken.substr(1, kInstallToken.size() - 2)))
        hr = ReadKey(registry.Get(), L"Workspace", L"InstallPath", buffer);
    else
        hr = ReadKey(registry.Get(), L"Mappings", REFOf(token), buffer);
    if (FAILED(hr)) return E_FAIL;

    *name = NewNormalisedString(std::wstring(buffer).append(text.substr(close + 1)));
    return *name ? S_OK : E_FAIL;
}

HRESULT FILENAMECreateAbsolute(IString* base, IString* name, IString** absolute) {
    if (!absolute) return E_POINTER;
    std::wstring_view text = ISView(name);
    if (text.empty()) {
        *absolute = NewString(text);
        return S_OK;
    }
    if (text.find(L':') != std::wstring_view::npos || text.front() == L'/') {
        *absolute = NewNormalisedString(text);
        return S_OK;
    }

    // Only the backslash form "..\" counts as a level up.
    int levels = 0;
    while (text.substr(0, 3) == L"..\\") {
        text.remove_prefix(3);
        ++levels;
    }
    // Short names without levels are kept as they are, without the base.
    if (levels == 0 && ISView(name).size() < 3) {
        *absolute = NewNormalisedString(text);
        return S_OK;
    }

    // One folder of the base is dropped per level, counting only "/" from
    // the end towards the second character; a cut that would keep two
    // characters or fewer keeps the whole base.
    std::wstring_view folder = ISView(base);
    if (levels > 0) {
        int seen = 0;
        for (size_t i = folder.size(); i-- > 1;) {
            if (folder[i] != L'/') continue;
            if (++seen == levels) {
                if (i > 2) folder = folder.substr(0, i);
                break;
            }
        }
    }
    std::wstring result(folder);
    result.push_back(L'/');
    for (wchar_t c : text) result.push_back(c == L'\\' ? L'/' : c);
    *absolute = NewString(result);
    return S_OK;
}

HRESULT FILENAMECreateAbsolute(IString* name, IString** absolute, int useAppPath) {
    if (!absolute) return E_POINTER;
    IPtr<IString> base;
    if (useAppPath)
        FILENAMEGetAppPath(base.Out());
    else
        FILENAMEGetInstallPath(base.Out());
    return FILENAMECreateAbsolute(base.Get(), name, absolute);
}

HRESULT FILENAMECreateRelative(IString* base, IString* name, IString** relative) {
    if (!relative) return E_POINTER;
    std::wstring_view folder = ISView(base);
    std::wstring_view text = ISView(name);
    if (folder.empty() || text.empty()) {
        *relative = NewString(text);
        return S_OK;
    }

    size_t common = 0;
    size_t shorter = std::min(folder.size(), text.size());
    while (common < shorter && std::towlower(folder[common]) == std::towlower(text[common])) ++common;

    // The shared part must hold a whole folder: two separators after the
    // first character.
    int separators = 0;
    size_t shared = 0;
    for (size_t i = 1; i < common; ++i) {
        if (IsSeparator(text[i])) {
            ++separators;
            shared = i;
        }
    }
    if (common == 0 || separators < 2) {
        *relative = NewString(text);
        return S_FALSE;
    }

    // The shared separator is the last one of the common part; the name of
    // a base without a trailing separator therefore climbs out of the base
    // and back in ("..\app/sub" against "/u/app"), which resolves to the
    // same file.
    int levels = folder.size() > shared + 1 ? 1 : 0;
    for (size_t i = shared + 1; i < folder.size(); ++i)
        if (IsSeparator(folder[i])) ++levels;

    std::wstring result;
    for (int i = 0; i < levels; ++i) result.append(L"..\\");
    result.append(text.substr(shared + 1));
    *relative = NewString(result);
    return S_OK;
}
