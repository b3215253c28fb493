// Reading the text fields of protocol answers (http headers, folder
// listings): blanks trimmed at both ends, and plain decimal counts.
#pragma once

#include <cstdint>
#include <string_view>

namespace host {

inline std::string_view TrimField(std::string_view text) {
    const auto first = text.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

// A decimal count of at most 18 digits, blanks around it allowed; -1 for
// anything else.
inline int64_t FieldCount(std::string_view text) {
    text = TrimField(text);
    if (text.empty() || text.size() > 18) return -1;
    int64_t value = 0;
    for (char c : text) {
        if (c < '0' || c > '9') return -1;
        value = value * 10 + (c - '0');
    }
    return value;
}

} // namespace host
