// A component's parameters as the command line shows and sets them: name,
// flags, current value and, for a choice, its items. Values given as text
// are typed by the parameter's flags.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "sdk/Framework.h"

namespace cli {

class HostRuntime;

// How a value given on the command line is read.
enum class ValueKind {
    Integer, // type code 3 or 7: a decimal integer
    Choice,  // a choice list: the item's text (case-blind) or its index
    Double,  // the current value is a double
    Text,    // anything else, taken as it is; "@PATH" gives the file's content as a data stream
};

struct ParameterInfo {
    int32_t index = 0;
    std::wstring name;
    int32_t flags = 0;
    int32_t valueType = VARIANT_EMPTY; // the VariantType of the current value
    std::wstring value;                // the current value as text
    std::vector<std::wstring> choices; // the items of a choice list
    bool boundInput = false;           // the value comes from another component
};

// The type code in bits 0-3 of a flags word.
constexpr int32_t TypeCode(int32_t flags) { return flags & 0xF; }

ValueKind KindOf(const ParameterInfo& parameter);
// A short description of the kind for listings ("integer", "choice", ...).
std::string KindName(const ParameterInfo& parameter);

// Every parameter of the collection, in index order.
std::vector<ParameterInfo> ReadParameters(IParameters* parameters);

// The current value as a listing shows it: text in quotes, a choice's index
// followed by its item ("2 (Interpret)"), anything else as it stands.
std::string ValueShown(const ParameterInfo& parameter);

// The parameter whose name matches ASCII case-blind, or null.
const ParameterInfo* FindParameter(const std::vector<ParameterInfo>& all, std::wstring_view name);

// The parameter whose name matches; a usage error listing the valid names
// when there is none.
const ParameterInfo& RequireParameter(const std::vector<ParameterInfo>& all, std::wstring_view name);

// Sets the parameter from its command-line text. Throws CliError: a usage
// error naming the expected form when the text does not fit the kind, a
// failure when the component refuses the value.
void SetParameter(const HostRuntime& runtime, IParameters* parameters, const ParameterInfo& parameter,
                  std::wstring_view text);

// Stores a value, a new integer or a new text in the named parameter as it
// is, without reading it by kind. Throws CliError: a usage error when there
// is no such parameter, a failure when the component refuses the value.
void PutParameter(IParameters* parameters, const std::vector<ParameterInfo>& all, std::wstring_view name,
                  IUnknown* value);
void PutIntegerParameter(const HostRuntime& runtime, IParameters* parameters, const std::vector<ParameterInfo>& all,
                         std::wstring_view name, int32_t value);
void PutTextParameter(const HostRuntime& runtime, IParameters* parameters, const std::vector<ParameterInfo>& all,
                      std::wstring_view name, std::wstring_view text);

// Applies "Name=Value" assignments in order. An unknown name or a malformed
// value is a usage error that lists what is valid; nothing is applied after
// the first error.
void ApplyAssignments(const HostRuntime& runtime, IParameters* parameters,
                      const std::vector<std::wstring>& assignments);

} // namespace cli
