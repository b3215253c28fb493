// The content of a folder stream: a tree of folders whose entries, kept in
// the order they were first written, are values (empty, integer, double,
// text), raw byte blocks, objects (their component name and the folder they
// saved themselves into) and sub-folders. Entry names are unique within a
// folder, compared with ASCII letters folded (as the host's named
// collections look names up).
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace host {

struct FolderNode;

struct TextValue {
    std::wstring text;
};
struct RawBlock {
    std::string bytes;
};
struct ObjectRecord {
    std::wstring component;
    std::shared_ptr<FolderNode> content;
};
struct SubFolder {
    std::shared_ptr<FolderNode> node;
};

using EntryValue = std::variant<std::monostate, int32_t, double, TextValue, RawBlock, ObjectRecord, SubFolder>;

struct FolderEntry {
    std::wstring name;
    EntryValue value;
};

struct FolderNode {
    std::vector<FolderEntry> entries;
    // Set once the folder has been taken out of its tree (its parent's
    // content was replaced), so that cursors still holding it stop working
    // instead of changing a folder that will never be saved.
    bool detached = false;

    FolderEntry* Find(std::wstring_view name);
};

// Marks every folder below `value` as detached.
void DetachValue(EntryValue& value);

// Replaces the entries of `node` by those of `replacement`, detaching the
// folders of the old entries.
void ReplaceEntries(FolderNode& node, FolderNode&& replacement);

} // namespace host
