#include "host/collections/ItemCollection.h"


namespace host {

namespace {
} // namespace

IPtr<ISuperCollection> NewCollection(NameMatch match) {
    IPtr<ISuperCollection> c;
    CreateHostComponent<ItemCollectionImpl<>>(c, match);
    return c;
}

HRESULT CreateSuperCollection(const IID* iid, void** out) { return CreateHostComponent<ItemCollectionImpl<>>(iid, out); }

} // namespace host
