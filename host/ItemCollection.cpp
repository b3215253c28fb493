#include "host/ItemCollection.h"

#include "host/ComponentRegistry.h"

namespace host {

namespace {
HRESULT CreateSuperCollection(const IID* iid, void** out) { return CreateHostComponent<ItemCollectionImpl<>>(iid, out); }
} // namespace

IPtr<ISuperCollection> NewCollection(NameMatch match) {
    IPtr<ISuperCollection> c;
    CreateHostComponent<ItemCollectionImpl<>>(&IID_ISuperCollection, c.OutVoid(), match);
    return c;
}

HOST_COMPONENT(L"SuperCollection", &CreateSuperCollection);

} // namespace host
