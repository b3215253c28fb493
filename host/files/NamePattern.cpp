#include "host/files/NamePattern.h"

namespace host {

bool MatchNamePattern(std::wstring_view pattern, std::wstring_view name) {
    // Greedy matching with one back-track point: on a mismatch the last '*'
    // takes one more character. Linear in practice, never exponential.
    size_t p = 0, n = 0;
    size_t starP = std::wstring_view::npos, starN = 0;
    while (n < name.size()) {
        if (p < pattern.size() && pattern[p] == L'*') {
            starP = p++;
            starN = n;
        } else if (p < pattern.size() && (pattern[p] == L'?' || pattern[p] == name[n])) {
            ++p;
            ++n;
        } else if (starP != std::wstring_view::npos) {
            p = starP + 1;
            n = ++starN;
        } else {
            return false;
        }
    }
    while (p < pattern.size() && pattern[p] == L'*') ++p;
    return p == pattern.size();
}

namespace {
std::wstring_view TrimBlanks(std::wstring_view s) {
    while (!s.empty() && (s.front() == L' ' || s.front() == L'\t')) s.remove_prefix(1);
    while (!s.empty() && (s.back() == L' ' || s.back() == L'\t')) s.remove_suffix(1);
    return s;
}
} // namespace

bool MatchNamePatternList(std::wstring_view patterns, std::wstring_view name) {
    while (true) {
        size_t cut = patterns.find(L';');
        std::wstring_view one = TrimBlanks(patterns.substr(0, cut));
        if (!one.empty() && MatchNamePattern(one, name)) return true;
        if (cut == std::wstring_view::npos) return false;
        patterns.remove_prefix(cut + 1);
    }
}

} // namespace host
