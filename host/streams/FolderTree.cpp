#include "host/streams/FolderTree.h"

namespace host {

namespace {
// Recurses once per level of folders, which the streams keep within
// kMaxStreamNesting.
void DetachNode(const std::shared_ptr<FolderNode>& node) {
    if (!node || node->detached) return;
    node->detached = true;
    for (const FolderEntry& entry : node->Entries()) DetachValue(entry.value);
}
} // namespace

FolderEntry* FolderNode::Find(std::wstring_view name) {
    const int32_t at = m_names.Find(name, [this](int32_t i) { return std::wstring_view(m_entries[i].name); });
    return at < 0 ? nullptr : &m_entries[static_cast<size_t>(at)];
}

void FolderNode::Append(FolderEntry entry) {
    const auto position = static_cast<int32_t>(m_entries.size());
    const uint32_t hash = m_names.Hash(entry.name);
    m_entries.push_back(std::move(entry));
    m_names.Insert(position, hash, [this](int32_t i) { return std::wstring_view(m_entries[i].name); });
}

std::vector<FolderEntry> FolderNode::TakeEntries() {
    std::vector<FolderEntry> taken;
    taken.swap(m_entries);
    m_names.Clear();
    return taken;
}

void DetachValue(const EntryValue& value) {
    if (auto* object = std::get_if<ObjectRecord>(&value)) DetachNode(object->content);
    if (auto* folder = std::get_if<SubFolder>(&value)) DetachNode(folder->node);
}

void ReplaceEntries(FolderNode& node, FolderNode&& replacement) {
    std::vector<FolderEntry> old = node.TakeEntries();
    for (FolderEntry& entry : replacement.TakeEntries()) node.Append(std::move(entry));
    for (FolderEntry& entry : old) DetachValue(entry.value);
}

} // namespace host
