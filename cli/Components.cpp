#include "cli/Components.h"

#include "cli/CliError.h"
#include "cli/HostRuntime.h"
#include "cli/Text.h"

namespace cli {

std::vector<std::wstring> AvailableComponents(const HostRuntime& runtime) {
    std::vector<std::wstring> names;
    for (const wchar_t* name : kModuleComponents)
        if (runtime.Create<IUnknown>(name)) names.emplace_back(name);
    return names;
}

IPtr<IUnknown> CreateModuleComponent(const HostRuntime& runtime, std::wstring_view name, std::wstring* canonical) {
    for (const wchar_t* known : kModuleComponents) {
        if (!EqualsAsciiBlind(known, name)) continue;
        if (auto component = runtime.Create<IUnknown>(known)) {
            if (canonical) *canonical = known;
            return component;
        }
        break;
    }
    std::vector<std::wstring> available = AvailableComponents(runtime);
    std::string list = available.empty() ? std::string("none (the module offers no components)")
                                         : Join(available, ", ");
    throw UsageError("unknown component \"" + ToUtf8(name) + "\"; available components: " + list);
}

} // namespace cli
