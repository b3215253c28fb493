#include "host/runtime/PersistedObjects.h"

#include "host/runtime/GlobalComponentCollection.h"
#include "host/values/HostStrings.h"

namespace host {

bool DescribePersistable(IUnknown* object, PersistableObject& described, std::string& error) {
    if (!object) {
        error = "no object was given";
        return false;
    }
    IPtr<IObjectInfo> info = QueryAs<IObjectInfo>(object);
    tagREFString name{0, nullptr};
    if (!info || FAILED(info->GetName(0, &name)) || name.m_Length <= 0 || !name.m_pString) {
        error = "the object does not tell its component name";
        return false;
    }
    IPtr<IDataPersist> persist = QueryAs<IDataPersist>(object);
    if (!persist) {
        error = "the object of component '" + ToUtf8({name.m_pString, static_cast<size_t>(name.m_Length)}) +
                "' cannot save itself";
        return false;
    }
    described.component.assign(name.m_pString, static_cast<size_t>(name.m_Length));
    described.persist = std::move(persist);
    return true;
}

HRESULT CreatePersisted(const std::wstring& component, IDataStream* from, IUnknown** object, std::string& error) {
    if (!object) return E_POINTER;
    *object = nullptr;
    const tagREFString name{static_cast<int32_t>(component.size()), const_cast<wchar_t*>(component.c_str())};
    IPtr<IDataPersist> persist;
    if (FAILED(GlobalCollection()->CreateComponent(name, &IPtr<IDataPersist>::Id(), persist.OutVoid())) || !persist) {
        error = "cannot create a persistable object of component '" + ToUtf8(component) + "'";
        return E_FAIL;
    }
    if (FAILED(persist->Load(from, 0))) {
        error = "the object of component '" + ToUtf8(component) + "' failed to load itself";
        return E_FAIL;
    }
    return persist->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(object));
}

} // namespace host
