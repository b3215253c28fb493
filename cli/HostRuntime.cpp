#include "cli/HostRuntime.h"

#include <dlfcn.h>
#include <unistd.h>

#include <iterator>
#include <vector>

#include "cli/CliError.h"
#include "cli/Text.h"

namespace cli {

namespace {
const char kRuntimeFile[] = "/_binARM64/CollectionsEx.so";
const char kModuleFile[] = "/_binARM64/Shadow.so";
const wchar_t kCollectionName[] = L"GlobalComponentCollection";
} // namespace

std::string ExecutableFolder() {
    std::vector<char> buffer(256);
    for (;;) {
        ssize_t n = readlink("/proc/self/exe", buffer.data(), buffer.size());
        if (n < 0) return ".";
        if (static_cast<size_t>(n) < buffer.size()) {
            std::string path(buffer.data(), static_cast<size_t>(n));
            size_t slash = path.rfind('/');
            if (slash == std::string::npos) return ".";
            return slash == 0 ? std::string("/") : path.substr(0, slash);
        }
        buffer.resize(buffer.size() * 2);
    }
}

std::wstring TextOf(IString* string) {
    if (!string) return {};
    tagREFString view{0, nullptr};
    if (FAILED(string->GetString(&view)) || view.m_Length <= 0 || !view.m_pString) return {};
    return std::wstring(view.m_pString, static_cast<size_t>(view.m_Length));
}

std::unique_ptr<HostRuntime> HostRuntime::Start(const std::string& folder) {
    std::unique_ptr<HostRuntime> runtime(new HostRuntime());

    // The runtime stays loaded for the life of the process: objects of the
    // module and of the runtime are still released by static destructors.
    std::string runtimePath = folder + kRuntimeFile;
    runtime->m_library = dlopen(runtimePath.c_str(), RTLD_NOW);
    if (!runtime->m_library) {
        const char* why = dlerror();
        throw Failure("cannot load the host runtime " + runtimePath + ": " + (why ? why : "unknown error"));
    }
    auto createFunction =
        reinterpret_cast<CreateFunctionFunction>(dlsym(runtime->m_library, "CreateFunction"));
    if (!createFunction) throw Failure("the host runtime " + runtimePath + " has no CreateFunction");

    CreatorFunction creator = nullptr;
    int32_t length = static_cast<int32_t>(sizeof kCollectionName / sizeof kCollectionName[0] - 1);
    if (FAILED(createFunction(length, kCollectionName, &creator)) || !creator)
        throw Failure("the host runtime " + runtimePath + " offers no GlobalComponentCollection");
    IID iid = IPtr<IComponentCollection>::Id();
    creator(nullptr, &iid, runtime->m_components.OutVoid());
    if (!runtime->m_components) throw Failure("the host runtime could not create its component collection");

    std::wstring modulePath = FromUtf8(folder + kModuleFile).value_or(L"");
    if (modulePath.empty()) throw Failure("the installation folder " + folder + " is not a UTF-8 path");
    tagREFString ref{static_cast<int32_t>(modulePath.size()), modulePath.data()};
    HRESULT hr = runtime->m_components->LoadModule(ref);
    if (FAILED(hr)) throw Failure("cannot load the module " + ToUtf8(modulePath));
    return runtime;
}

HostRuntime::~HostRuntime() {
    // The library itself is left loaded (see Start).
    m_components.Release();
}

IPtr<IString> MakeHostString(IComponentCollection* components, std::wstring_view text) {
    if (!components) return {};
    IPtr<ICreatableString> string;
    wchar_t name[] = L"CreatableString";
    components->CreateComponent(tagREFString{static_cast<int32_t>(std::size(name) - 1), name},
                                &IPtr<ICreatableString>::Id(), string.OutVoid());
    if (!string || FAILED(string->SetString(text.data(), static_cast<int32_t>(text.size())))) return {};
    return IPtr<IString>(string.Get());
}

IPtr<IString> HostRuntime::NewString(std::wstring_view text) const {
    auto string = MakeHostString(m_components.Get(), text);
    if (!string) throw Failure("the host runtime cannot create strings");
    return string;
}

IPtr<IVariant> HostRuntime::NewVariant() const {
    auto variant = Create<IVariant>(L"Variant");
    if (!variant) throw Failure("the host runtime cannot create variants");
    return variant;
}

} // namespace cli
