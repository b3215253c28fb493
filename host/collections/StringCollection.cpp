#include "host/collections/StringCollection.h"

#include <utility>
#include <vector>

#include "sdk/ScopeExit.h"
#include "host/collections/LineFile.h"

namespace host {

namespace {

HRESULT ReturnString(std::wstring_view text, IString** out) {
    if (!out) return E_POINTER;
    *out = MakeString(text).Detach();
    return *out ? S_OK : E_FAIL;
}

} // namespace

HRESULT CreateStringCollection(const IID* iid, void** out) { return CreateHostComponent<StringCollection>(iid, out); }

HRESULT StringCollection::get_Line(int32_t index, IString** line) {
    if (!line) return E_POINTER;
    *line = nullptr;
    IPtr<IUnknown> item;
    if (HRESULT hr = get_Item(index, item.Out()); FAILED(hr)) return hr;
    IPtr<IString> text = QueryAs<IString>(item.Get());
    if (!text) return E_FAIL;
    *line = text.Detach();
    return S_OK;
}

std::wstring StringCollection::FileName() {
    std::lock_guard<std::mutex> hold(m_nameLock);
    return m_fileName;
}

HRESULT StringCollection::get_Filename(IString** name) { return ReturnString(FileName(), name); }

HRESULT StringCollection::put_Filename(IString* name) {
    std::wstring text = ToWide(name);
    std::lock_guard<std::mutex> hold(m_nameLock);
    m_fileName.swap(text);
    return S_OK;
}

HRESULT StringCollection::get_Filter(IString** filter) {
    return ReturnString(L"Text files (*.txt;*.csv)|*.txt;*.csv", filter);
}

HRESULT StringCollection::get_Name(IString** name) {
    const std::wstring file = FileName();
    const size_t slash = file.rfind(L'/');
    return ReturnString(slash == std::wstring::npos ? file : file.substr(slash + 1), name);
}

HRESULT StringCollection::Load() {
    std::vector<std::wstring> lines;
    const int error = ReadLines(FileName(), lines);
    // The new lines replace the old ones in one step under the collection's
    // lock, so a reader sees either list whole.
    CollectionLock();
    ScopeExit unlock([this] { CollectionUnlock(); });
    ClearItems();
    ReserveItems(lines.size());
    for (const std::wstring& line : lines) Add(nullptr, MakeFixedString(line).Get(), nullptr, 0);
    return error ? E_FAIL : S_OK;
}

HRESULT StringCollection::Save() {
    std::vector<std::wstring> lines;
    {
        CollectionLock();
        ScopeExit unlock([this] { CollectionUnlock(); });
        const int32_t count = ItemCount();
        lines.reserve(static_cast<size_t>(count));
        for (int32_t i = 0; i < count; ++i) lines.push_back(ToWide(QueryAs<IString>(ItemAt(i)).Get()));
    }
    return WriteLines(FileName(), lines) ? E_FAIL : S_OK;
}

} // namespace host
