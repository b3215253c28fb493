// Objects kept inside persistence streams: an object is recorded by the name
// of its component (which it tells through IObjectInfo) and by what it saves
// of itself through IDataPersist; it is made again by creating that
// component by name through the global component collection and letting it
// load itself.
#pragma once

#include <string>

#include "sdk/Framework.h"

namespace host {

struct PersistableObject {
    std::wstring component;
    IPtr<IDataPersist> persist;
};

// The component name and persistence face of `object`; false with a message
// when it lacks either (such an object cannot be written).
bool DescribePersistable(IUnknown* object, PersistableObject& described, std::string& error);

// Creates the named component, lets it load itself from `from` and returns
// it (IUnknown, one reference). E_FAIL with a message when the component is
// unknown, is not persistable or fails to load.
HRESULT CreatePersisted(const std::wstring& component, IDataStream* from, IUnknown** object, std::string& error);

} // namespace host
