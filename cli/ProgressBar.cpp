#include "cli/ProgressBar.h"

#include <algorithm>
#include <cwchar>

namespace cli {

namespace {

constexpr int kBarWidth = 24;

bool IsNumberCharacter(wchar_t c) { return (c >= L'0' && c <= L'9') || c == L'.'; }

} // namespace

std::optional<double> TrailingPercentage(std::wstring_view text) {
    if (text.empty() || text.back() != L'%') return std::nullopt;
    size_t start = text.size() - 1;
    while (start > 0 && IsNumberCharacter(text[start - 1])) --start;
    const std::wstring number(text.substr(start, text.size() - 1 - start));
    if (number.empty() || number.front() == L'.') return std::nullopt;
    wchar_t* end = nullptr;
    const double value = std::wcstod(number.c_str(), &end);
    if (end != number.c_str() + number.size()) return std::nullopt;
    return value;
}

std::wstring WithProgressBar(std::wstring_view text) {
    const std::optional<double> percentage = TrailingPercentage(text);
    if (!percentage) return std::wstring(text);
    const int filled = static_cast<int>(std::clamp(*percentage, 0.0, 100.0) * kBarWidth / 100.0);
    std::wstring bar = L"[";
    bar.append(static_cast<size_t>(filled), L'#');
    bar.append(static_cast<size_t>(kBarWidth - filled), L'.');
    bar += L"] ";
    bar += text;
    return bar;
}

} // namespace cli
