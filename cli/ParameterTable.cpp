#include "cli/ParameterTable.h"

#include <cstdio>

#include "cli/CliError.h"
#include "cli/FileStreams.h"
#include "cli/HostRuntime.h"
#include "cli/Text.h"

namespace cli {

namespace {

constexpr int32_t kChoiceBit = 0x40;

std::wstring NumberText(double value) {
    wchar_t buffer[64];
    std::swprintf(buffer, sizeof buffer / sizeof buffer[0], L"%.15g", value);
    return buffer;
}

// The current value as text, as a user would type it again.
std::wstring ValueText(IVariant* value, int32_t* type) {
    int32_t kind = VARIANT_EMPTY;
    if (!value) return {};
    value->get_Type(&kind);
    *type = kind;
    switch (kind) {
    case VARIANT_INTEGER: {
        int32_t n = 0;
        value->get_Integer(&n);
        return std::to_wstring(n);
    }
    case VARIANT_DOUBLE: {
        double d = 0;
        value->get_Double(&d);
        return NumberText(d);
    }
    case VARIANT_STRING: {
        IPtr<IString> text;
        value->get_String(text.Out());
        return TextOf(text.Get());
    }
    case VARIANT_OBJECT: {
        IPtr<IUnknown> object;
        value->get_Object(object.Out());
        if (auto stream = QueryAs<IDataStream>(object.Get()))
            return L"(data stream of " + std::to_wstring(StreamSize(stream.Get())) + L" bytes)";
        return L"(object)";
    }
    default:
        return {};
    }
}

std::string Quoted(std::wstring_view text) { return "\"" + ToUtf8(text) + "\""; }

std::vector<std::wstring> NamesOf(const std::vector<ParameterInfo>& all) {
    std::vector<std::wstring> names;
    for (const ParameterInfo& p : all) names.push_back(p.name);
    return names;
}

std::string ChoiceList(const ParameterInfo& parameter) {
    std::string list;
    for (size_t i = 0; i < parameter.choices.size(); ++i) {
        if (i) list += ", ";
        list += std::to_string(i) + "=" + ToUtf8(parameter.choices[i]);
    }
    return list;
}

} // namespace

ValueKind KindOf(const ParameterInfo& parameter) {
    if (!parameter.choices.empty()) return ValueKind::Choice;
    int32_t code = TypeCode(parameter.flags);
    if (code == 3 || code == 7) return ValueKind::Integer;
    if (parameter.valueType == VARIANT_DOUBLE) return ValueKind::Double;
    return ValueKind::Text;
}

std::string KindName(const ParameterInfo& parameter) {
    switch (KindOf(parameter)) {
    case ValueKind::Choice:
        return "choice";
    case ValueKind::Double:
        return "number";
    case ValueKind::Integer:
        if (parameter.flags == 0x23) return "colour";
        return TypeCode(parameter.flags) == 7 ? "switch" : "integer";
    case ValueKind::Text:
        break;
    }
    return TypeCode(parameter.flags) == 9 ? "server path" : "text";
}

std::vector<ParameterInfo> ReadParameters(IParameters* parameters) {
    std::vector<ParameterInfo> all;
    if (!parameters) return all;
    int32_t count = 0;
    parameters->get_Count(&count);
    for (int32_t i = 0; i < count; ++i) {
        IPtr<IString> name;
        IPtr<IVariant> value;
        IPtr<IUnknown> descriptor;
        ParameterInfo info;
        info.index = i;
        if (FAILED(parameters->Iterate(i, name.Out(), value.Out(), descriptor.Out(), &info.flags))) continue;
        info.name = TextOf(name.Get());
        info.value = ValueText(value.Get(), &info.valueType);
        if (descriptor) {
            info.boundInput = static_cast<bool>(descriptor.Query<IInputParameter>());
            // A choice keeps its item list as a string descriptor: "Off|On|Auto".
            auto choices = descriptor.Query<IString>();
            if (choices && (info.flags & kChoiceBit)) info.choices = SplitAt(TextOf(choices.Get()), L'|');
        }
        all.push_back(std::move(info));
    }
    return all;
}

std::string ValueShown(const ParameterInfo& parameter) {
    if (KindOf(parameter) == ValueKind::Choice) {
        auto index = ParseInteger(parameter.value);
        if (index && *index >= 0 && static_cast<size_t>(*index) < parameter.choices.size())
            return ToUtf8(parameter.value) + " (" + ToUtf8(parameter.choices[static_cast<size_t>(*index)]) + ")";
    }
    if (parameter.valueType == VARIANT_STRING) return Quoted(parameter.value);
    return ToUtf8(parameter.value);
}

const ParameterInfo* FindParameter(const std::vector<ParameterInfo>& all, std::wstring_view name) {
    for (const ParameterInfo& p : all)
        if (EqualsAsciiBlind(p.name, name)) return &p;
    return nullptr;
}

const ParameterInfo& RequireParameter(const std::vector<ParameterInfo>& all, std::wstring_view name) {
    const ParameterInfo* parameter = FindParameter(all, name);
    if (!parameter)
        throw UsageError("unknown parameter " + Quoted(name) + "; valid parameters: " + Join(NamesOf(all), ", "));
    return *parameter;
}

void SetParameter(const HostRuntime& runtime, IParameters* parameters, const ParameterInfo& parameter,
                  std::wstring_view text) {
    const std::string where = "value " + Quoted(text) + " for " + ToUtf8(parameter.name);
    IPtr<IUnknown> value;
    switch (KindOf(parameter)) {
    case ValueKind::Integer: {
        auto n = ParseInteger(text);
        if (!n) throw UsageError("malformed " + where + ": expected a whole number");
        auto variant = runtime.NewVariant();
        variant->put_Integer(*n);
        value.Reset(variant.Get());
        break;
    }
    case ValueKind::Choice: {
        int32_t chosen = -1;
        for (size_t i = 0; i < parameter.choices.size() && chosen < 0; ++i)
            if (EqualsCaseBlind(parameter.choices[i], text)) chosen = static_cast<int32_t>(i);
        if (chosen < 0) {
            auto n = ParseInteger(text);
            if (n && *n >= 0 && static_cast<size_t>(*n) < parameter.choices.size()) chosen = *n;
        }
        if (chosen < 0) throw UsageError("malformed " + where + ": expected one of " + ChoiceList(parameter));
        auto variant = runtime.NewVariant();
        variant->put_Integer(chosen);
        value.Reset(variant.Get());
        break;
    }
    case ValueKind::Double: {
        auto d = ParseDouble(text);
        if (!d) throw UsageError("malformed " + where + ": expected a number");
        auto variant = runtime.NewVariant();
        variant->put_Double(*d);
        value.Reset(variant.Get());
        break;
    }
    case ValueKind::Text: {
        // "@PATH" hands over the file's content as a data stream; "@@..."
        // stands for text that starts with "@".
        if (text.starts_with(L"@") && !text.starts_with(L"@@")) {
            if (text.size() == 1) throw UsageError("malformed " + where + ": expected a file name after @");
            value.Reset(OpenFileStream(runtime, ToUtf8(text.substr(1))).Get());
            break;
        }
        auto string = runtime.NewString(text.starts_with(L"@@") ? text.substr(1) : text);
        value.Reset(string.Get());
        break;
    }
    }
    HRESULT hr = parameters->put_Item(parameter.index, value.Get());
    if (FAILED(hr)) {
        char code[16];
        std::snprintf(code, sizeof code, "0x%08X", static_cast<unsigned>(hr));
        throw Failure("the component refused the " + where + " (status " + code + ")");
    }
}

void ApplyAssignments(const HostRuntime& runtime, IParameters* parameters,
                      const std::vector<std::wstring>& assignments) {
    std::vector<ParameterInfo> all = ReadParameters(parameters);
    for (const std::wstring& assignment : assignments) {
        size_t equals = assignment.find(L'=');
        if (equals == std::wstring::npos || equals == 0)
            throw UsageError("malformed assignment " + Quoted(assignment) + ": expected Name=Value");
        std::wstring_view name(assignment.data(), equals);
        SetParameter(runtime, parameters, RequireParameter(all, name), std::wstring_view(assignment).substr(equals + 1));
    }
}

void PutParameter(IParameters* parameters, const std::vector<ParameterInfo>& all, std::wstring_view name,
                  IUnknown* value) {
    const ParameterInfo& parameter = RequireParameter(all, name);
    if (FAILED(parameters->put_Item(parameter.index, value)))
        throw Failure("the component refused its parameter " + ToUtf8(parameter.name));
}

void PutIntegerParameter(const HostRuntime& runtime, IParameters* parameters, const std::vector<ParameterInfo>& all,
                         std::wstring_view name, int32_t value) {
    auto variant = runtime.NewVariant();
    variant->put_Integer(value);
    PutParameter(parameters, all, name, variant.Get());
}

void PutTextParameter(const HostRuntime& runtime, IParameters* parameters, const std::vector<ParameterInfo>& all,
                      std::wstring_view name, std::wstring_view text) {
    PutParameter(parameters, all, name, runtime.NewString(text).Get());
}

} // namespace cli
