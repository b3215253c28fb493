// "OSUtils": starts the program a command line names (IOSUtils::Run), or
// the program registered to open the file it names, and returns without
// waiting for it.
//
// Run splits the line into words (CommandWords.h) and looks at the first:
// - Its extension is the text after the last "." of its last path component.
//   When the settings registry (the "Registry" component) has a key of
//   exactly that text, case as written, in the section "FileHandlers", the
//   key's value is the handler's own command line: its words, with every
//   word "%f" replaced by the first word (or the first word appended when
//   there is no "%f"), then the line's other words, are started instead.
//   The first word must then name a regular file; the file itself is
//   neither made executable nor executed.
// - Otherwise the first word is the program: an executable file when it
//   holds a "/", else a program name looked up on PATH.
// Programs start through posix_spawn (Spawn.h), never through a shell.
//
// Failures are written to the event log under the title "OSUtils": an empty
// or unsplittable line (E_INVALIDARG), a handler's line that cannot be
// split, a file to open that is not there, a data file without a handler
// (naming the [FileHandlers] section where one is added), a program that
// cannot be started (E_FAIL for all of these).
#pragma once

#include "host/base/HostObject.h"

namespace host {

class OSUtils final : public HostObject<IOSUtils> {
public:
    OSUtils() = default;

    HRESULT Run(IString* commandLine) override;
};

HRESULT CreateOSUtils(const IID* iid, void** out);

} // namespace host
