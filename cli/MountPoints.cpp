#include "cli/MountPoints.h"

#include <fstream>
#include <iterator>

namespace cli {

namespace {

bool IsOctalDigit(char c) { return c >= '0' && c <= '7'; }

// The field with the kernel's "\ooo" escapes turned back into their bytes.
std::string Unescaped(std::string_view field) {
    std::string text;
    text.reserve(field.size());
    for (size_t i = 0; i < field.size(); ++i) {
        if (field[i] == '\\' && i + 3 < field.size() && IsOctalDigit(field[i + 1]) &&
            IsOctalDigit(field[i + 2]) && IsOctalDigit(field[i + 3])) {
            const int value = (field[i + 1] - '0') * 64 + (field[i + 2] - '0') * 8 + (field[i + 3] - '0');
            text.push_back(static_cast<char>(value));
            i += 3;
        } else {
            text.push_back(field[i]);
        }
    }
    return text;
}

} // namespace

std::vector<std::string> MountPointsOf(std::string_view mountinfo) {
    // A line: ID PARENT MAJOR:MINOR ROOT MOUNT-POINT OPTIONS ... The fields
    // are separated by single spaces; spaces inside a path are escaped.
    constexpr int kMountPointField = 4;
    std::vector<std::string> points;
    while (!mountinfo.empty()) {
        const size_t end = mountinfo.find('\n');
        std::string_view line = mountinfo.substr(0, end);
        mountinfo.remove_prefix(end == std::string_view::npos ? mountinfo.size() : end + 1);
        for (int field = 0; field < kMountPointField && !line.empty(); ++field) {
            const size_t space = line.find(' ');
            line.remove_prefix(space == std::string_view::npos ? line.size() : space + 1);
        }
        const std::string_view point = line.substr(0, line.find(' '));
        if (!point.empty()) points.push_back(Unescaped(point));
    }
    return points;
}

std::vector<std::string> CurrentMountPoints() {
    std::ifstream file("/proc/self/mountinfo", std::ios::binary);
    if (!file) return {};
    const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    return MountPointsOf(text);
}

} // namespace cli
