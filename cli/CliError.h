// The exit codes of the command line and the error that carries one of them
// up to main, which prints its message on stderr.
#pragma once

#include <stdexcept>
#include <string>

namespace cli {

enum ExitCode : int {
    EXIT_SUCCESS_CODE = 0,
    EXIT_FAILED = 1,      // the work failed or reported an error
    EXIT_USAGE = 2,       // the command line cannot be used as given
    EXIT_INTERRUPTED = 130,
};

class CliError final : public std::runtime_error {
public:
    CliError(int code, const std::string& message) : std::runtime_error(message), m_code(code) {}
    int Code() const { return m_code; }

private:
    int m_code;
};

inline CliError UsageError(const std::string& message) { return CliError(EXIT_USAGE, message); }
inline CliError Failure(const std::string& message) { return CliError(EXIT_FAILED, message); }

} // namespace cli
