// shadow list [COMPONENT]
#include <algorithm>
#include <cstdio>

#include "cli/CliError.h"
#include "cli/Commands.h"
#include "cli/Components.h"
#include "cli/HostRuntime.h"
#include "cli/ParameterTable.h"
#include "cli/Text.h"

namespace cli {

namespace {

std::string Padded(const std::string& text, size_t width) {
    // Names and kinds are ASCII, so bytes are columns here.
    return text.size() >= width ? text : text + std::string(width - text.size(), ' ');
}

std::vector<std::wstring> InputNames(IUnknown* component) {
    std::vector<std::wstring> names;
    auto inputs = QueryAs<IInputParameters>(component);
    if (!inputs) return names;
    int32_t count = 0;
    inputs->get_Count(&count);
    for (int32_t i = 0; i < count; ++i) {
        IPtr<IString> name;
        if (SUCCEEDED(inputs->get_ItemName(i, name.Out()))) names.push_back(TextOf(name.Get()));
    }
    return names;
}

void PrintComponent(const std::wstring& name, IUnknown* component) {
    std::printf("%s\n", ToUtf8(name).c_str());
    auto parameters = QueryAs<IParameters>(component);
    std::vector<ParameterInfo> all = ReadParameters(parameters.Get());
    if (all.empty()) std::printf("  (no parameters)\n");

    size_t nameWidth = 4, kindWidth = 4, defaultWidth = 7;
    for (const ParameterInfo& p : all) {
        nameWidth = std::max(nameWidth, ToUtf8(p.name).size());
        kindWidth = std::max(kindWidth, KindName(p).size());
        defaultWidth = std::max(defaultWidth, ValueShown(p).size());
    }
    if (!all.empty())
        std::printf("  %s  %s  %s  %s\n", Padded("NAME", nameWidth).c_str(), Padded("KIND", kindWidth).c_str(),
                    Padded("DEFAULT", defaultWidth).c_str(), "FLAGS");
    for (const ParameterInfo& p : all) {
        char flags[16];
        std::snprintf(flags, sizeof flags, "0x%02X", static_cast<unsigned>(p.flags));
        std::string line = "  " + Padded(ToUtf8(p.name), nameWidth) + "  " + Padded(KindName(p), kindWidth) + "  " +
                           Padded(ValueShown(p), defaultWidth) + "  " + flags;
        if (!p.choices.empty()) line += "  choices: " + Join(p.choices, "|");
        if (p.boundInput) line += "  (bound input)";
        std::printf("%s\n", line.c_str());
    }
    std::vector<std::wstring> inputs = InputNames(component);
    if (!inputs.empty()) std::printf("  inputs: %s\n", Join(inputs, ", ").c_str());
}

} // namespace

int ListCommand(const Arguments& args) {
    std::vector<std::string> names;
    for (const std::string& arg : args) {
        if (IsHelpOption(arg)) {
            std::fputs(ListHelp(), stdout);
            return EXIT_SUCCESS_CODE;
        }
        if (arg.size() > 1 && arg[0] == '-') throw UsageError("unknown option " + arg + " for list");
        names.push_back(arg);
    }
    if (names.size() > 1) throw UsageError("list: unexpected argument " + names[1] + " (expected one COMPONENT)");

    auto runtime = HostRuntime::Start();
    if (!names.empty()) {
        std::wstring name;
        auto component = CreateModuleComponent(*runtime, WideArgument(names[0]), &name);
        PrintComponent(name, component.Get());
        return EXIT_SUCCESS_CODE;
    }
    bool first = true;
    for (const wchar_t* known : kModuleComponents) {
        auto component = runtime->Create<IUnknown>(known);
        if (!component) continue;
        if (!first) std::printf("\n");
        first = false;
        PrintComponent(known, component.Get());
    }
    if (first) throw Failure("the module offers no components");
    return EXIT_SUCCESS_CODE;
}

} // namespace cli
