// "ActiveComponentCollection": the components this process has in use
// (ComponentUse.h), as a component collection and as a components list.
//
//   IComponentCollection  the items are component strings named after the
//                         components, in the order of their first use; the
//                         collection follows the process (a component made
//                         later appears at the next look). Creating and
//                         loading modules go to the global collection;
//                         renaming is refused with E_FAIL.
//   IFileArchive          put_Filename names the file; Save writes the list
//                         the packager reads (below); Load answers E_NOTIMPL:
//                         the list describes this process and is not read
//                         back into it.
//
// The components list: one line per module that provides a component in
// use, in the order of the first use of any of its components, written
//   <name>,<companion>
// <name> is the library's base name, as the packager finds it in
// "_binARM64/<name>.so" ("CollectionsEx" for the host runtime's own
// components; a module loaded by path gives its file name without folder and
// ".so"). <companion> is empty unless the module has a companion file: as the
// packager gives each runner its ".manifest" companion, a module's companion
// is the file of its library's name followed by ".manifest"
// ("_binARM64/<name>.so.manifest", found beside the library the module was
// loaded from). It is written relative to the release's root, where the
// packager copies the list's second column to.
//
// A module whose name holds a comma or a line end cannot stand in the list:
// it is left out and named in the event log. Save fails (E_FAIL, with an
// event log line) when no file is named or the file cannot be written; the
// list goes through a work file renamed into place.
#pragma once

#include "sdk/Framework.h"

namespace host {

HRESULT CreateActiveComponentCollection(const IID* iid, void** out);

} // namespace host
