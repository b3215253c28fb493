// Text helpers of the command line: UTF-8 arguments to the host's wide text
// and back, case-blind comparison and number parsing.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace cli {

// Decodes UTF-8; nullopt when the bytes are not well-formed UTF-8 (the
// module would write such names back differently, so they are refused).
// Both go through the host runtime's one codec (host/text/Utf8.h).
std::optional<std::wstring> FromUtf8(std::string_view text);
// Encodes wide text as UTF-8; what is no code point becomes U+FFFD.
std::string ToUtf8(std::wstring_view text);

// Equal when they differ only in the case of ASCII letters.
bool EqualsAsciiBlind(std::wstring_view a, std::wstring_view b);
// Equal when they differ only in letter case (any alphabet).
bool EqualsCaseBlind(std::wstring_view a, std::wstring_view b);

// A whole decimal 32-bit integer with an optional sign; nullopt otherwise.
std::optional<int32_t> ParseInteger(std::wstring_view text);
// A whole decimal floating-point number; nullopt otherwise.
std::optional<double> ParseDouble(std::wstring_view text);

// The parts between the separators ("A|B" gives "A" and "B"); an empty text
// gives no parts.
std::vector<std::wstring> SplitAt(std::wstring_view text, wchar_t separator);

// The items joined with `separator`, as UTF-8.
std::string Join(const std::vector<std::wstring>& items, std::string_view separator);

} // namespace cli
