// The content of a folder stream: a tree of folders whose entries, kept in
// the order they were first written, are values (empty, integer, double,
// text), raw byte blocks, objects (their component name and the folder they
// saved themselves into) and sub-folders. Entry names are unique within a
// folder, compared with ASCII letters folded (as the host's named
// collections look names up); each folder indexes its names, so that finding
// an entry does not walk the folder and reading or writing n entries takes
// time in proportion to n.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "host/collections/NameIndex.h"

namespace host {

class FolderNode;

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

class FolderNode final {
public:
    FolderNode() = default;
    explicit FolderNode(int depth) : depth(depth) {}
    FolderNode(FolderNode&&) = default;
    FolderNode& operator=(FolderNode&&) = default;

    // How many folders and objects enclose this one (0 for the top folder of
    // a tree); fixed when the folder is made, since folders never move to
    // another level. The streams keep it at most kMaxStreamNesting.
    int depth = 0;
    // Set once the folder has been taken out of its tree (its parent's
    // content was replaced), so that cursors still holding it stop working
    // instead of changing a folder that will never be saved.
    bool detached = false;

    const std::vector<FolderEntry>& Entries() const { return m_entries; }
    // The entry of this name, or null. Its name may be changed, but only in
    // the case of its letters (the index finds it by the folded name).
    FolderEntry* Find(std::wstring_view name);
    // Appends an entry; its name must not be empty nor in the folder yet.
    void Append(FolderEntry entry);
    // Takes every entry out, leaving the folder empty.
    std::vector<FolderEntry> TakeEntries();

private:
    std::vector<FolderEntry> m_entries;
    NameIndex m_names{NameMatch::AsciiCaseBlind};
};

// Marks every folder below `value` as detached.
void DetachValue(const EntryValue& value);

// Replaces the entries of `node` by those of `replacement`, detaching the
// folders of the old entries.
void ReplaceEntries(FolderNode& node, FolderNode&& replacement);

} // namespace host
