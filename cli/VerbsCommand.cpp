// shadow verbs COMPONENT
// shadow verb COMPONENT VERB [Name=Value ...] [--verbose]
#include <cstdio>

#include "cli/CliError.h"
#include "cli/Commands.h"
#include "cli/Components.h"
#include "cli/FailureWatch.h"
#include "cli/HostRuntime.h"
#include "cli/LineMonitor.h"
#include "cli/ParameterTable.h"
#include "cli/StepRunner.h"
#include "cli/Text.h"

namespace cli {

namespace {

// The action code the command line performs itself when the component
// leaves "Run" to its host: the component runs as a step.
constexpr int32_t kRunCode = 8;

struct Verb {
    std::wstring text; // empty for a separator
    int32_t code = 0;
};

IPtr<IUIVerbCollectionSpecify> VerbsOf(IUnknown* component, const std::wstring& name) {
    auto specify = QueryAs<IUIVerbCollectionSpecify>(component);
    if (!specify) throw UsageError("component " + ToUtf8(name) + " offers no verbs");
    return specify;
}

std::vector<Verb> ReadVerbs(IUIVerbCollectionSpecify* specify, const std::wstring& name) {
    IPtr<IUIVerbCollection> collection;
    if (FAILED(specify->GetVerbs(0, nullptr, collection.Out())) || !collection)
        throw Failure("component " + ToUtf8(name) + " cannot list its verbs (the host has no verb collection)");
    std::vector<Verb> verbs;
    int32_t count = 0;
    collection->get_Count(&count);
    for (int32_t i = 0; i < count; ++i) {
        IPtr<IString> text;
        Verb verb;
        if (FAILED(collection->get_Verb(i, text.Out(), &verb.code))) continue;
        verb.text = TextOf(text.Get());
        verbs.push_back(std::move(verb));
    }
    return verbs;
}

std::vector<std::wstring> VerbNames(const std::vector<Verb>& verbs) {
    std::vector<std::wstring> names;
    for (const Verb& verb : verbs)
        if (!verb.text.empty()) names.push_back(verb.text);
    return names;
}

struct VerbOptions {
    std::string component;
    std::string verb;
    std::vector<std::wstring> assignments;
    bool verbose = false;
    bool help = false;
};

VerbOptions ParseVerb(const Arguments& args) {
    VerbOptions options;
    std::vector<std::string> positional;
    bool optionsEnded = false;
    for (const std::string& arg : args) {
        if (!optionsEnded && arg.size() > 1 && arg[0] == '-') {
            if (arg == "--") optionsEnded = true;
            else if (IsHelpOption(arg)) options.help = true;
            else if (arg == "--verbose" || arg == "-v") options.verbose = true;
            else throw UsageError("unknown option " + arg + " for verb; valid options: --verbose");
            continue;
        }
        positional.push_back(arg);
    }
    if (options.help) return options;
    if (positional.size() < 2)
        throw UsageError(positional.empty() ? "verb: missing arguments COMPONENT VERB" : "verb: missing argument VERB");
    options.component = positional[0];
    options.verb = positional[1];
    for (size_t i = 2; i < positional.size(); ++i) options.assignments.push_back(WideArgument(positional[i]));
    return options;
}

} // namespace

int VerbsCommand(const Arguments& args) {
    std::vector<std::string> names;
    for (const std::string& arg : args) {
        if (IsHelpOption(arg)) {
            std::fputs(VerbsHelp(), stdout);
            return EXIT_SUCCESS_CODE;
        }
        if (arg.size() > 1 && arg[0] == '-') throw UsageError("unknown option " + arg + " for verbs");
        names.push_back(arg);
    }
    if (names.empty()) throw UsageError("verbs: missing argument COMPONENT");
    if (names.size() > 1) throw UsageError("verbs: unexpected argument " + names[1] + " (expected one COMPONENT)");

    auto runtime = HostRuntime::Start();
    std::wstring name;
    auto component = CreateModuleComponent(*runtime, WideArgument(names[0]), &name);
    for (const Verb& verb : ReadVerbs(VerbsOf(component.Get(), name).Get(), name)) {
        if (verb.text.empty()) std::printf("-\n");
        else std::printf("%5d  %s\n", verb.code, ToUtf8(verb.text).c_str());
    }
    return EXIT_SUCCESS_CODE;
}

int VerbCommand(const Arguments& args) {
    VerbOptions options = ParseVerb(args);
    if (options.help) {
        std::fputs(VerbHelp(), stdout);
        return EXIT_SUCCESS_CODE;
    }
    auto runtime = HostRuntime::Start();
    std::wstring name;
    auto component = CreateModuleComponent(*runtime, WideArgument(options.component), &name);
    auto specify = VerbsOf(component.Get(), name);
    const std::vector<Verb> verbs = ReadVerbs(specify.Get(), name);
    const std::wstring wanted = WideArgument(options.verb);
    const Verb* chosen = nullptr;
    for (const Verb& verb : verbs)
        if (!verb.text.empty() && EqualsAsciiBlind(verb.text, wanted)) chosen = &verb;
    if (!chosen)
        throw UsageError("unknown verb \"" + options.verb + "\" for " + ToUtf8(name) +
                         "; valid verbs: " + Join(VerbNames(verbs), ", "));

    auto parameters = component.Query<IParameters>();
    if (!parameters && !options.assignments.empty())
        throw UsageError("component " + ToUtf8(name) + " has no parameters to set");
    if (parameters) ApplyAssignments(*runtime, parameters.Get(), options.assignments);

    auto monitor = LineMonitor::Create(*runtime, UseLiveStatus(options.verbose), name);
    auto workspace = BindLineDisplay(*runtime, component.Get(), static_cast<IUILineDisplayable*>(monitor.Get()));
    const std::vector<ParameterInfo> before = ReadParameters(parameters.Get());
    FailureWatch failures(*runtime);

    const std::string verbName = ToUtf8(chosen->text);
    // Ctrl-C turns the step off while the verb runs; for "Run" the step is
    // then run the same way, when the component leaves it to its host.
    bool leftToHost = false;
    StepOutcome outcome = RunStoppable(component.Get(), monitor.Get(), [&] {
        const HRESULT result = specify->DoAction(chosen->code, nullptr);
        leftToHost = result == chosen->code;
        return result;
    });
    if (leftToHost && !outcome.interrupted) {
        auto step = component.Query<IStep>();
        if (chosen->code != kRunCode || !step)
            throw Failure("verb " + verbName + " of " + ToUtf8(name) + " is not available from the command line");
        outcome = RunStoppable(component.Get(), monitor.Get(), [&] { return step->TurnOn(); });
    }

    // What the verb wrote into the parameters (a count of files, a side).
    for (const ParameterInfo& now : ReadParameters(parameters.Get())) {
        const ParameterInfo* old = FindParameter(before, now.name);
        if (old && old->valueType == now.valueType && old->value == now.value) continue;
        std::printf("%s=%s\n", ToUtf8(now.name).c_str(), ToUtf8(now.value).c_str());
    }
    std::fflush(stdout);
    return ExitCodeOf(outcome, monitor.Get(), ToUtf8(name) + " " + verbName, &failures, options.verbose);
}

} // namespace cli
