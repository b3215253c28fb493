// "FolderStream": a tree of folders of named entries (IFolderStream), seen as
// the text of its folder (IDataStream) and kept in a file (IFileArchive). The
// text form is described in host/FolderFormat.h.
//
// - Writing an entry whose name exists (ASCII letters folded) replaces its
//   value in place, so entries keep the order they were first written in; a
//   sub-folder is never replaced by a value (E_FAIL). Names must not be
//   empty (E_INVALIDARG).
// - Values are empty, integer, double or text variants; a variant holding an
//   object is refused (E_INVALIDARG): objects are written with WriteObject,
//   which records the object's component name and lets it save itself into a
//   folder of its own. An object without a component name or without
//   IDataPersist is not written (E_FAIL).
// - ReadRaw copies at most `size` bytes and returns S_FALSE when the block is
//   longer; with null data it only stores the block's size in *read.
// - get_Entries gives a new collection, a snapshot in folder order, named
//   after the entries: sub-folders are IFolderStream items; every other entry
//   is an IVariant item: values as themselves, a raw block as a variant
//   holding a "DataStream" with a copy of the bytes, an object as a variant
//   holding the object made again from what it saved (an empty variant when
//   it cannot be made).
// - Each folder object has its own byte face: GetStream and Read give that
//   folder's text; bytes written to it replace that folder's entries when
//   they are next used. Load and Save always work on the whole tree.
// - A folder taken out of the tree (its parent's content replaced by Load or
//   by written bytes) fails every further operation with E_FAIL.
// - Folders and objects nest at most kMaxStreamNesting levels below the top
//   folder (host/StreamNesting.h): OpenFolder and WriteObject fail with
//   E_FAIL rather than make a folder deeper (an object is then not asked to
//   save itself), and a text nested deeper does not load.
// A tree and its folder objects are meant for one thread at a time.
#pragma once

#include "sdk/Framework.h"

namespace host {

HRESULT CreateFolderStream(const IID* iid, void** out);

} // namespace host
