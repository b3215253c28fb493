#include "components/VelmixLists.h"

#include <cwctype>

#include "core/REFString.h"
#include "module/Module.h"

namespace {

bool SkippedInFront(wchar_t c) { return std::iswspace(c) || std::iswcntrl(c) || c == 0xEF || c == 0xFE; }

} // namespace

ComponentLists ParseComponentLines(const std::vector<std::wstring>& lines) {
    ComponentLists lists;
    std::wstring previous;
    bool havePrevious = false;
    for (const std::wstring& line : lines) {
        if (line.empty()) continue;
        const size_t comma = line.find(L',');
        std::wstring_view module = std::wstring_view(line).substr(0, comma);
        const std::wstring_view rest =
            comma == std::wstring::npos ? std::wstring_view() : std::wstring_view(line).substr(comma + 1);
        while (!module.empty() && SkippedInFront(module.front())) module.remove_prefix(1);
        if (module.empty()) continue;
        if (!havePrevious || module != previous) lists.modules.emplace_back(module);
        const std::wstring_view extra = rest.substr(0, rest.find(L','));
        if (!extra.empty()) lists.extraFiles.emplace_back(extra);
        previous.assign(module);
        havePrevious = true;
    }
    return lists;
}

HRESULT ReadComponentLines(IString* path, std::vector<std::wstring>* lines) {
    lines->clear();
    IPtr<IFileArchive> archive = CreateHostObject<IFileArchive>(L"StringCollection");
    if (!archive || FAILED(archive->put_Filename(path)) || FAILED(archive->Load())) return E_FAIL;
    IPtr<IStringCollection> text = archive.Query<IStringCollection>();
    int32_t count = 0;
    if (!text || FAILED(text->get_Count(&count))) return E_FAIL;
    for (int32_t i = 0; i < count; ++i) {
        IPtr<IString> line;
        text->get_Line(i, line.Out());
        const CREFString view(line.Get());
        if (view.m_Length > 0) lines->emplace_back(view.m_pString, static_cast<size_t>(view.m_Length));
        else lines->emplace_back();
    }
    return S_OK;
}
