#include "host/files/FileEntry.h"

#include "host/values/HostStrings.h"

namespace host {

namespace {
HRESULT ReturnString(std::wstring_view text, IString** out) {
    if (!out) return E_POINTER;
    IPtr<IString> s = MakeString(text);
    if (!s) return E_FAIL;
    *out = s.Detach();
    return S_OK;
}
} // namespace

std::wstring FileEntry::Path() const {
    const std::wstring& folder = m_text->folder;
    std::wstring_view name = Name();
    std::wstring path;
    path.reserve(folder.size() + 1 + name.size());
    path = folder;
    if (path.empty() || path.back() != L'/') path += L'/';
    path += name;
    return path;
}

HRESULT FileEntry::get_Filename(IString** name) { return ReturnString(Path(), name); }

HRESULT FileEntry::put_Filename(IString*) { return E_NOTIMPL; }

HRESULT FileEntry::get_Filter(IString** filter) {
    if (m_data.pattern < 0) return ReturnString(L"*", filter);
    return ReturnString(m_text->patterns[static_cast<size_t>(m_data.pattern)], filter);
}

HRESULT FileEntry::get_Name(IString** name) { return ReturnString(Name(), name); }

HRESULT FileEntry::Load() { return E_NOTIMPL; }

HRESULT FileEntry::Save() { return E_NOTIMPL; }

HRESULT FileEntry::get_Attribute(int32_t which, int64_t* value) {
    if (!value) return E_POINTER;
    switch (which) {
    case FILE_ATTRIBUTE_SIZE: *value = m_data.size; return S_OK;
    case FILE_ATTRIBUTE_MODIFIED: *value = m_data.modified; return S_OK;
    case FILE_ATTRIBUTE_MODE: *value = m_data.mode; return S_OK;
    case FILE_ATTRIBUTE_FOLDER: *value = m_data.folder ? 1 : 0; return S_OK;
    default: break;
    }
    *value = 0;
    return E_INVALIDARG;
}

} // namespace host
