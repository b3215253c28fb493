// The property page list shared by every component's GetPages.
#include "module/Object.h"

#include "core/REFString.h"

HRESULT OBJECTPropertyPages(INamedCollection** pages, std::initializer_list<const wchar_t*> names) {
    if (!pages) return E_POINTER;
    *pages = nullptr;
    IPtr<ISuperCollection> collection = IPtr<ISuperCollection>::Adopt(CREFString::CreateCollection());
    if (!collection) return E_FAIL;
    for (const wchar_t* name : names) {
        // The key is an empty host string; both strings are temporaries
        // released right after the add.
        IPtr<ICreatableString> key = IPtr<ICreatableString>::Adopt(CREFString::CreateString());
        IPtr<ICreatableString> page = IPtr<ICreatableString>::Adopt(CREFString::CreateString());
        if (!key || !page) return E_FAIL;
        tagREFString text = REFLiteral(name);
        page->SetString(text.m_pString, text.m_Length);
        collection->Add(key.Get(), page.Get(), nullptr, 0);
    }
    *pages = collection.Detach();
    return S_OK;
}
