// The failures a run records in the host's event log ("EventLogGlobal")
// beside its display lines: a file that could not be copied or deleted, a
// folder that could not be made or listed, an exception of a step. The
// watch listens to the log while it lives and keeps every line of the error
// kind, for the summary and the exit code of the command.
#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "sdk/Framework.h"

namespace cli {

class HostRuntime;

class FailureWatch final {
public:
    // Listens from now on; a runtime without an event log gives a watch that
    // sees nothing.
    explicit FailureWatch(const HostRuntime& runtime);
    ~FailureWatch();
    FailureWatch(const FailureWatch&) = delete;
    FailureWatch& operator=(const FailureWatch&) = delete;

    // "<title>: <text>" of each failure so far, in the order recorded.
    std::vector<std::string> Failures() const;
    // The event log's file, where every failure is kept as well.
    std::string LogFile() const { return m_logFile; }

private:
    class Listener;

    IPtr<IEventSource> m_source;
    IPtr<Listener> m_listener;
    std::string m_logFile;
};

} // namespace cli
