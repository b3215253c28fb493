// The components the module offers and how the command line finds them.
#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "sdk/Framework.h"

namespace cli {

class HostRuntime;

// Every component name the module may register.
inline constexpr std::array<const wchar_t*, 9> kModuleComponents = {
    L"Shadow",           L"ShadowSelective", L"ShadowUpload",  L"ShadowList",    L"ShadowVelmix",
    L"ShadowVelmixList", L"URLGet",          L"STRINGConvert", L"STREAMConvert",
};

// The names of the components that the loaded module actually creates.
std::vector<std::wstring> AvailableComponents(const HostRuntime& runtime);

// A new instance of the named module component (name matched ASCII
// case-blind); `canonical` receives its registered name. Throws a usage
// error listing the available components when there is none of that name.
IPtr<IUnknown> CreateModuleComponent(const HostRuntime& runtime, std::wstring_view name, std::wstring* canonical);

} // namespace cli
