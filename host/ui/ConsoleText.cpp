#include "host/ui/ConsoleText.h"

#include <algorithm>
#include <iterator>

namespace host {

namespace {

struct Range {
    char32_t first, last;
};

constexpr Range kZeroWidth[] = {
    {0x0300, 0x036F}, {0x0483, 0x0489}, {0x0591, 0x05BD}, {0x0610, 0x061A}, {0x064B, 0x065F},
    {0x0E31, 0x0E31}, {0x0E34, 0x0E3A}, {0x1AB0, 0x1AFF}, {0x1DC0, 0x1DFF}, {0x200B, 0x200F},
    {0x20D0, 0x20FF}, {0xFE00, 0xFE0F}, {0xFE20, 0xFE2F}, {0xFEFF, 0xFEFF},
};

constexpr Range kWide[] = {
    {0x1100, 0x115F},   {0x2E80, 0x303E},   {0x3041, 0x33FF},   {0x3400, 0x4DBF},
    {0x4E00, 0x9FFF},   {0xA000, 0xA4CF},   {0xAC00, 0xD7A3},   {0xF900, 0xFAFF},
    {0xFE30, 0xFE4F},   {0xFF00, 0xFF60},   {0xFFE0, 0xFFE6},   {0x1F300, 0x1F64F},
    {0x1F900, 0x1F9FF}, {0x20000, 0x2FFFD}, {0x30000, 0x3FFFD},
};

template <size_t N>
bool InRanges(const Range (&ranges)[N], char32_t c) {
    // The tables are sorted: find the first range that ends at or after c.
    auto it = std::lower_bound(std::begin(ranges), std::end(ranges), c,
                               [](const Range& r, char32_t v) { return r.last < v; });
    return it != std::end(ranges) && it->first <= c;
}

bool IsControl(char32_t c) { return c < 0x20 || (c >= 0x7F && c <= 0x9F); }

} // namespace

int CharColumns(wchar_t wc) {
    auto c = static_cast<char32_t>(static_cast<uint32_t>(wc));
    if (c < 0x300) return 1;
    if (InRanges(kZeroWidth, c)) return 0;
    if (InRanges(kWide, c)) return 2;
    return 1;
}

int TextColumns(std::wstring_view text) {
    int columns = 0;
    for (wchar_t c : text) columns += CharColumns(c);
    return columns;
}

std::wstring SanitizeLine(std::wstring_view text) {
    std::wstring out(text);
    for (wchar_t& c : out)
        if (IsControl(static_cast<char32_t>(static_cast<uint32_t>(c)))) c = L'?';
    return out;
}

std::wstring ShortenToColumns(std::wstring_view text, int columns) {
    if (columns <= 0) return {};
    if (TextColumns(text) <= columns) return std::wstring(text);
    if (columns < 4) {
        std::wstring out;
        int used = 0;
        for (wchar_t c : text) {
            int w = CharColumns(c);
            if (used + w > columns) break;
            out.push_back(c);
            used += w;
        }
        return out;
    }
    const int room = columns - 3;
    const int headRoom = room / 3;
    int tailRoom = room - headRoom;

    size_t head = 0;
    int used = 0;
    while (head < text.size() && used + CharColumns(text[head]) <= headRoom) used += CharColumns(text[head++]);
    tailRoom += headRoom - used; // a wide character that did not fit leaves room for the tail

    size_t tail = text.size();
    used = 0;
    while (tail > head && used + CharColumns(text[tail - 1]) <= tailRoom) used += CharColumns(text[--tail]);

    std::wstring out(text.substr(0, head));
    out += L"...";
    out += text.substr(tail);
    return out;
}

} // namespace host
