// "ActiveWorkspace": the workspace the host has open. There is one workspace
// per process; every instance of the component sees and changes the same
// file name and the same collection of components.
//
// The workspace's file format belongs to the program that opens it, so this
// component does not load or save the file itself: Load and Save return
// E_NOTIMPL, as does get_Filter. The host fills the components collection
// (ask get_Components' collection for ISuperCollection to add to it).
//
// Components bound to the workspace hold references to its collection
// through their inputs; emptying the collection (CloseWorkspace) releases
// the components and with them those references.
#pragma once

#include <functional>

#include "sdk/Framework.h"

namespace host {

// Forgets the file name and empties the components collection.
void CloseWorkspace();

// Called with the argument of every Refresh of any instance (for example to
// redraw what shows the workspace); an empty function removes the handler.
// The handler is called without any lock held.
void SetWorkspaceRefreshHandler(std::function<void(int32_t)> handler);

HRESULT CreateActiveWorkspace(const IID* iid, void** out);

} // namespace host
