// The host runtime and the module as the command line uses them: the runtime
// library is loaded from _binARM64/ beside the executable, its global
// component collection is created, and the module is loaded into it. All
// objects are then created by name through that collection.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "sdk/Framework.h"

namespace cli {

// The folder that holds the running executable, without a trailing "/".
std::string ExecutableFolder();

class HostRuntime final {
public:
    // Loads the runtime and the module from `folder`/_binARM64/ (by default
    // the executable's folder); throws CliError (exit code 1) with the
    // loader's message when either cannot be loaded.
    static std::unique_ptr<HostRuntime> Start(const std::string& folder = ExecutableFolder());

    HostRuntime(const HostRuntime&) = delete;
    HostRuntime& operator=(const HostRuntime&) = delete;
    ~HostRuntime();

    IComponentCollection* Components() const { return m_components.Get(); }

    // A new component or host service of the given name as a T; null when
    // there is no such component or it lacks the interface.
    template <class T>
    IPtr<T> Create(std::wstring_view name) const {
        IPtr<T> result;
        std::wstring text(name);
        tagREFString ref{static_cast<int32_t>(text.size()), text.data()};
        if (m_components) m_components->CreateComponent(ref, &InterfaceInfo<T>::Id(), result.OutVoid());
        return result;
    }

    // Host strings and variants; throws CliError when the runtime cannot
    // make them (a broken installation).
    IPtr<IString> NewString(std::wstring_view text) const;
    IPtr<IVariant> NewVariant() const;

private:
    HostRuntime() = default;

    void* m_library = nullptr;
    IPtr<IComponentCollection> m_components;
};

// A new host string made through the collection, or null.
IPtr<IString> MakeHostString(IComponentCollection* components, std::wstring_view text);

// The text of a host string (empty for null).
std::wstring TextOf(IString* string);

} // namespace cli
