// Running a component as a step from the command line: binding the console
// display to its line-display input, turning it on, waiting for an
// asynchronous run and handling Ctrl-C.
#pragma once

#include <functional>
#include <string>

#include "sdk/Framework.h"

namespace cli {

class FailureWatch;
class HostRuntime;
class LineMonitor;

struct StepOutcome {
    HRESULT status = S_OK;   // TurnOn's result (a synchronous step's own status)
    bool interrupted = false; // Ctrl-C was pressed during the run
};

// Binds `display` to every input of the component that takes a line display
// (named "UILineDisplayable" or declared for IUILineDisplayable), through a
// workspace collection that holds the display. Returns that collection,
// which must live as long as the run; null when there is nothing to bind.
IPtr<ISuperCollection> BindLineDisplay(const HostRuntime& runtime, IUnknown* component, IUnknown* display);

// Turns the step on from a thread of its own and waits for the step to end,
// whether it runs inside TurnOn or on a thread of its own. The first Ctrl-C
// turns the step off and the run ends when the step has stopped; a second Ctrl-C ends the process at once
// with exit code 130. With `abandonNote`, for a step that cannot be stopped,
// the first Ctrl-C prints the note on stderr and ends the process at once
// with exit code 130. Throws CliError when the component is not a step.
StepOutcome RunStep(IUnknown* component, LineMonitor* monitor, const char* abandonNote = nullptr);

// Performs `work` (a verb of the component, or turning the step on) on a
// thread of its own while this thread watches for Ctrl-C: the first one
// turns the step off (a step that forwards TurnOff to the service doing the
// work stops it), a second one ends the process at once with exit code 130.
// Returns when the work has returned and the step no longer runs; the
// status is the work's. A component that is no step is not turned off.
StepOutcome RunStoppable(IUnknown* component, LineMonitor* monitor, const std::function<HRESULT()>& work);

// The exit code for a finished run; prints what went wrong on stderr: the
// failures the run recorded in the event log (the first few, or all of them
// with `allFailures`) make it 1.
int ExitCodeOf(const StepOutcome& outcome, const LineMonitor* monitor, const std::string& name,
               const FailureWatch* failures = nullptr, bool allFailures = false);

} // namespace cli
