// The scheme file (manifest) of one side, and the client's own state file,
// which share one text format:
//
//   FAS-SCHEME 1                  (the state file: FAS-STATE 1)
//   serial <n>                    grows by one with every manifest written
//   F <size> <mtime> <mode> <sha256> <path>      one row per file
//   ...
//   end <rows> <sha256 of every byte before this line>
//
// <mtime> is nanoseconds since the epoch (0: unknown, as on sides that do
// not tell), <mode> the permission bits in octal (0: unknown), <sha256> 64
// lower-case hexadecimal digits, <path> the file's name relative to the
// side's location with "/" between folders, its bytes written as they are
// except "\", control bytes and DEL, written "\xHH". In the state file a
// row may also start with "I": a file that an install placed (and that a
// later install may remove again when it is unchanged).
//
// The trailer makes a truncated or altered file detectable: a file without
// it, with a wrong row count or a wrong digest is refused, and so is any
// row that breaks the grammar, names a file twice, or holds a path that is
// empty, absolute or has "", "." or ".." parts.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace host::fas {

struct SchemeRow {
    std::wstring path;
    int64_t size = 0;
    int64_t modified = 0; // nanoseconds since the epoch; 0 when unknown
    uint32_t mode = 0;    // permission bits; 0 when unknown
    std::string sha256;   // 64 lower-case hexadecimal digits
    bool installed = false; // state files only: placed by an install
};

enum class SchemeKind { Manifest, ClientState };

struct SchemeFile {
    SchemeKind kind = SchemeKind::Manifest;
    uint64_t serial = 0;
    std::vector<SchemeRow> rows;
};

std::string FormatSchemeFile(const SchemeFile& file);

// Reads `bytes` as a file of `kind`; false, with why in `why` (a text for
// people), when it is not one, whole and sound.
bool ParseSchemeFile(std::string_view bytes, SchemeKind kind, SchemeFile& out, std::wstring& why);

// Whether `name` is a relative name under a location: not empty, not
// absolute, no empty, "." or ".." parts, no NUL.
bool IsRelativeName(std::wstring_view name);

} // namespace host::fas
