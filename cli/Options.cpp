#include <string>

#include "cli/CliError.h"
#include "cli/Commands.h"

namespace cli {

bool TakeOption(const Arguments& args, size_t& i, const std::string& name, std::string& value, const char* needs) {
    const std::string& arg = args[i];
    const std::string needed = "missing argument: " + name + " needs " + (needs ? needs : "a value");
    if (arg == name) {
        if (i + 1 >= args.size() || (needs && args[i + 1].empty())) throw UsageError(needed);
        value = args[++i];
        return true;
    }
    if (arg.rfind(name + "=", 0) != 0) return false;
    value = arg.substr(name.size() + 1);
    if (needs && value.empty()) throw UsageError(needed);
    return true;
}

} // namespace cli
