#include "host/files/ExtCollection.h"

#include "host/files/NamePattern.h"

namespace host {

namespace {
std::wstring_view View(const tagREFString& s) {
    if (s.m_Length <= 0 || !s.m_pString) return {};
    return {s.m_pString, static_cast<size_t>(s.m_Length)};
}

} // namespace

HRESULT CreateExtCollection(const IID* iid, void** out) {
    return CreateHostComponent<ExtCollection>(iid, out);
}

ExtensionFilter::ExtensionFilter(std::vector<ExtensionEntry> entries) : m_entries(std::move(entries)) {}

int32_t ExtensionFilter::Find(std::wstring_view name) const {
    for (size_t i = 0; i < m_entries.size(); ++i)
        if (MatchNamePatternList(m_entries[i].pattern, name)) return static_cast<int32_t>(i);
    return -1;
}

HRESULT ExtCollection::AddExtension(tagREFString pattern, tagREFString kind) {
    std::wstring_view p = View(pattern);
    if (p.empty()) return E_INVALIDARG;
    std::lock_guard<std::mutex> hold(m_lock);
    m_entries.push_back(ExtensionEntry{std::wstring(p), std::wstring(View(kind))});
    return S_OK;
}

HRESULT ExtCollection::get_Count(int32_t* count) {
    if (!count) return E_POINTER;
    std::lock_guard<std::mutex> hold(m_lock);
    *count = static_cast<int32_t>(m_entries.size());
    return S_OK;
}

ExtensionFilter ExtCollection::Snapshot() const {
    std::lock_guard<std::mutex> hold(m_lock);
    return ExtensionFilter(m_entries);
}

} // namespace host
