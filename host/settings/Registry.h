// "Registry": the host's persistent settings, sections of named text keys
// kept in one UTF-8 file of "[Section]" and "key=value" lines (see
// IniDocument.h for the rules of the form).
//
// The file is read again on every operation rather than cached, so that a
// change made by hand or by another process is seen at once; the files are
// small. A missing file is an empty registry. A malformed file makes every
// operation fail with E_FAIL and is never written over. A write reads the
// file, changes the one key, writes the whole text to a temporary file beside
// it and renames that over the file, under an exclusive lock on the folder,
// so that writers in several processes never lose each other's keys.
#pragma once

#include <string>

#include "sdk/Framework.h"

namespace host {

// The file: the environment variable SHADOW_REGISTRY, else
// $XDG_CONFIG_HOME/shadow/registry.ini, else $HOME/.config/shadow/registry.ini;
// empty when none of these variables is set. Looked up on every use.
std::string RegistryPath();

// Why the last registry operation of this process failed (a malformed file,
// a file that cannot be read or written, a name that cannot be stored);
// empty when it succeeded. Each distinct explanation is also written once to
// the host's event log ("EventLogGlobal") when there is one.
std::wstring RegistryLastError();

HRESULT CreateRegistry(const IID* iid, void** out);

} // namespace host
