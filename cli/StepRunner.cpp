#include "cli/StepRunner.h"

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>

#include "cli/CliError.h"
#include "cli/FailureWatch.h"
#include "cli/HostRuntime.h"
#include "cli/LineMonitor.h"
#include "cli/Text.h"

namespace cli {

namespace {

const wchar_t kDisplayName[] = L"ConsoleDisplay";
const wchar_t kDisplayInput[] = L"UILineDisplayable";

std::atomic<int> gInterrupts{0};
static_assert(std::atomic<int>::is_always_lock_free, "the signal handler needs a lock-free counter");

// Set while a run that is abandoned at the first Ctrl-C runs: the note
// printed before the process ends.
std::atomic<const char*> gAbandonNote{nullptr};
static_assert(std::atomic<const char*>::is_always_lock_free, "the signal handler reads the note");

void OnInterrupt(int) {
    // Only async-signal-safe calls here: the main loop notices the first
    // request and turns the step off; a second one gives up waiting.
    if (const char* note = gAbandonNote.load()) {
        ssize_t ignored = write(STDERR_FILENO, note, std::strlen(note));
        (void)ignored;
        _exit(EXIT_INTERRUPTED);
    }
    if (gInterrupts.fetch_add(1) == 0) {
        const char note[] = "\nshadow: stopping (press Ctrl-C again to quit at once)\n";
        ssize_t ignored = write(STDERR_FILENO, note, sizeof note - 1);
        (void)ignored;
        return;
    }
    const char note[] = "\nshadow: interrupted\n";
    ssize_t ignored = write(STDERR_FILENO, note, sizeof note - 1);
    (void)ignored;
    _exit(EXIT_INTERRUPTED);
}

// Installs the Ctrl-C handler for the life of a run and puts the previous
// one back afterwards.
class InterruptGuard final {
public:
    explicit InterruptGuard(const char* abandonNote) {
        gInterrupts.store(0);
        gAbandonNote.store(abandonNote);
        struct sigaction action = {};
        action.sa_handler = &OnInterrupt;
        sigemptyset(&action.sa_mask);
        action.sa_flags = SA_RESTART; // file operations of the step go on
        sigaction(SIGINT, &action, &m_previous);
    }
    ~InterruptGuard() {
        sigaction(SIGINT, &m_previous, nullptr);
        gAbandonNote.store(nullptr);
    }
    InterruptGuard(const InterruptGuard&) = delete;
    InterruptGuard& operator=(const InterruptGuard&) = delete;

    bool Requested() const { return gInterrupts.load() > 0; }

private:
    struct sigaction m_previous = {};
};

// Whether an input takes a line display.
bool TakesLineDisplay(IInputParameter* input) {
    IPtr<IString> name;
    input->get_Name(name.Out());
    if (TextOf(name.Get()) == kDisplayInput) return true;
    IID iid = IID_NULL;
    return SUCCEEDED(input->get_Interface(&iid)) && iid == IID_IUILineDisplayable;
}

} // namespace

IPtr<ISuperCollection> BindLineDisplay(const HostRuntime& runtime, IUnknown* component, IUnknown* display) {
    auto inputs = QueryAs<IInputParameters>(component);
    auto bindable = QueryAs<IBindableObject>(component);
    if (!inputs || !bindable || !display) return {};

    auto sourceName = runtime.NewString(kDisplayName);
    bool any = false;
    int32_t count = 0;
    inputs->get_Count(&count);
    for (int32_t i = 0; i < count; ++i) {
        IPtr<IUnknown> item;
        if (FAILED(inputs->get_Item(i, item.Out()))) continue;
        auto input = item.Query<IInputParameter>();
        if (!input || !TakesLineDisplay(input.Get())) continue;
        input->put_SourceComponent(sourceName.Get());
        any = true;
    }
    if (!any) return {};

    auto workspace = runtime.Create<ISuperCollection>(L"SuperCollection");
    if (!workspace) throw Failure("the host runtime cannot create a workspace collection");
    workspace->Add(sourceName.Get(), display, nullptr, 0);
    bindable->Bind(workspace.Get(), nullptr);
    return workspace;
}

namespace {

// Performs `work` on a thread of its own while this thread watches for
// Ctrl-C, until the work has returned and the step (may be null) no longer
// runs. A step that runs synchronously inside TurnOn is reached by the
// first Ctrl-C as well as one that runs on a thread of its own. Polled
// often at first, so a short run is not stretched by the poll, then less
// often: the end is noticed within 1% of the running time (1 to 10 ms).
StepOutcome RunWatched(IStep* step, const std::function<HRESULT()>& work, const char* abandonNote) {
    InterruptGuard interrupts(abandonNote);
    StepOutcome outcome;
    std::atomic<bool> done{false};
    std::thread worker([&] {
        outcome.status = work();
        done.store(true);
    });
    bool turnedOff = false;
    const auto started = std::chrono::steady_clock::now();
    while (!done.load() || (step && step->IsRunning())) {
        if (interrupts.Requested() && !turnedOff) {
            turnedOff = true;
            if (step) step->TurnOff();
            continue;
        }
        const auto running = std::chrono::steady_clock::now() - started;
        std::this_thread::sleep_for(std::clamp<std::chrono::steady_clock::duration>(
            running / 100, std::chrono::milliseconds(1), std::chrono::milliseconds(10)));
    }
    worker.join();
    outcome.interrupted = interrupts.Requested();
    return outcome;
}

} // namespace

StepOutcome RunStep(IUnknown* component, LineMonitor* monitor, const char* abandonNote) {
    auto step = QueryAs<IStep>(component);
    if (!step) throw Failure("the component is not a step");

    // The display reads the statistics of a mirroring step while it runs;
    // the reference is dropped again however the run ends.
    struct Watch final {
        LineMonitor* monitor;
        Watch(LineMonitor* m, IUnknown* c) : monitor(m) {
            if (monitor) monitor->WatchStatistics(QueryAs<IShadow>(c).Get());
        }
        ~Watch() {
            if (monitor) {
                monitor->WatchStatistics(nullptr);
                monitor->Finish();
            }
        }
    } watch(monitor, component);
    return RunWatched(step.Get(), [&] { return step->TurnOn(); }, abandonNote);
}

StepOutcome RunStoppable(IUnknown* component, LineMonitor* monitor, const std::function<HRESULT()>& work) {
    // Without a step there is nothing to turn off: Ctrl-C then only ends
    // the process, at the second press.
    auto step = QueryAs<IStep>(component);
    StepOutcome outcome = RunWatched(step.Get(), work, nullptr);
    if (monitor) monitor->Finish();
    return outcome;
}

namespace {

// How many failures are shown without --verbose.
constexpr size_t kFailuresShown = 5;

// Prints the failures; true when there were any.
bool ReportFailures(const FailureWatch& watch, const std::string& name, bool all) {
    const std::vector<std::string> failures = watch.Failures();
    if (failures.empty()) return false;
    std::fprintf(stderr, "shadow: %s: %zu failure%s:\n", name.c_str(), failures.size(),
                 failures.size() == 1 ? "" : "s");
    const size_t shown = all ? failures.size() : std::min(failures.size(), kFailuresShown);
    for (size_t i = 0; i < shown; ++i) std::fprintf(stderr, "  %s\n", failures[i].c_str());
    if (shown < failures.size())
        std::fprintf(stderr, "  ... and %zu more (--verbose shows them all)\n", failures.size() - shown);
    if (!watch.LogFile().empty()) std::fprintf(stderr, "  (also in the event log %s)\n", watch.LogFile().c_str());
    return true;
}

} // namespace

int ExitCodeOf(const StepOutcome& outcome, const LineMonitor* monitor, const std::string& name,
               const FailureWatch* failures, bool allFailures) {
    const bool failed = failures && ReportFailures(*failures, name, allFailures);
    if (outcome.interrupted) {
        std::fprintf(stderr, "shadow: %s interrupted\n", name.c_str());
        return EXIT_INTERRUPTED;
    }
    if (FAILED(outcome.status)) {
        std::fprintf(stderr, "shadow: %s failed with status 0x%08X\n", name.c_str(),
                     static_cast<unsigned>(outcome.status));
        return EXIT_FAILED;
    }
    int errors = monitor ? monitor->ErrorCount() : 0;
    if (errors > 0) {
        std::fprintf(stderr, "shadow: %s reported %d error%s\n", name.c_str(), errors, errors == 1 ? "" : "s");
        return EXIT_FAILED;
    }
    return failed ? EXIT_FAILED : EXIT_SUCCESS_CODE;
}

} // namespace cli
