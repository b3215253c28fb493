#include "host/FolderTree.h"

#include "host/KeyLookup.h"

namespace host {

namespace {
void DetachNode(const std::shared_ptr<FolderNode>& node) {
    if (!node || node->detached) return;
    node->detached = true;
    for (FolderEntry& entry : node->entries) DetachValue(entry.value);
}
} // namespace

FolderEntry* FolderNode::Find(std::wstring_view name) {
    for (FolderEntry& entry : entries)
        if (AsciiEqualNoCase(entry.name, name)) return &entry;
    return nullptr;
}

void DetachValue(EntryValue& value) {
    if (auto* object = std::get_if<ObjectRecord>(&value)) DetachNode(object->content);
    if (auto* folder = std::get_if<SubFolder>(&value)) DetachNode(folder->node);
}

void ReplaceEntries(FolderNode& node, FolderNode&& replacement) {
    std::vector<FolderEntry> old;
    old.swap(node.entries);
    node.entries = std::move(replacement.entries);
    for (FolderEntry& entry : old) DetachValue(entry.value);
}

} // namespace host
