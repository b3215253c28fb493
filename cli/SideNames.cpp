#include "cli/SideNames.h"

#include "cli/CliError.h"
#include "cli/FolderChecks.h"
#include "cli/Commands.h"

namespace cli {

bool IsUrl(const std::string& text) {
    const size_t colon = text.find("://");
    if (colon == std::string::npos || colon == 0) return false;
    for (size_t i = 0; i < colon; ++i) {
        const char c = text[i];
        if (!((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '+' || c == '-' ||
              c == '.'))
            return false;
    }
    return true;
}

std::string SideArgument(const std::string& text, const char* what) {
    if (text.empty()) throw UsageError(std::string(what) + " must not be empty");
    if (!IsUrl(text)) return AbsolutePath(text);
    const size_t start = text.find("://") + 3;
    const std::string authority = text.substr(start, text.find_first_of("/?#", start) - start);
    const size_t at = authority.rfind('@');
    if (at != std::string::npos && authority.substr(0, at).find(':') != std::string::npos)
        throw UsageError(std::string(what) +
                         " holds a password; give the URL without it and put the login in ~/.netrc "
                         "(machine HOST login USER password PASSWORD, readable by you alone)");
    return text;
}

void CheckRelativeName(const std::string& name, const char* what) {
    bool sound = !name.empty() && name[0] != '/';
    for (size_t start = 0; sound;) {
        const size_t slash = name.find('/', start);
        const std::string part = name.substr(start, slash == std::string::npos ? std::string::npos : slash - start);
        sound = !part.empty() && part != "." && part != "..";
        if (slash == std::string::npos) break;
        start = slash + 1;
    }
    if (!sound) throw UsageError(std::string(what) + " names a file relative to its side, not \"" + name + "\"");
}

IPtr<IFileArchiveScheme> SideScheme(const HostRuntime& runtime, const std::string& side) {
    const bool local = !IsUrl(side) || side.compare(0, 7, "file://") == 0;
    auto scheme = runtime.Create<IFileArchiveScheme>(local ? L"URLFile" : L"URLhttp");
    auto parameters = runtime.Create<IParametersCreatable>(L"ParametersCreatable");
    if (!scheme || !parameters) throw Failure("the host runtime offers no transfer scheme");
    IPtr<IVariant> value = runtime.NewVariant();
    value->put_String(runtime.NewString(WideArgument(side)).Get());
    parameters->Add(runtime.NewString(L"HOSTNAME").Get(), value.Get(), nullptr, 6);
    scheme->put_Parameters(parameters.Get());
    return scheme;
}

} // namespace cli
