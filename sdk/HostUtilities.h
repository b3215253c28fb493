// Utilities a host offers its components: starting programs ("OSUtils")
// and handing files to the user ("UIUtils").
#pragma once

#include "Collections.h"

struct IOSUtils : IUnknown {
    // Starts the program a command line names and returns without waiting
    // for it. The line is split into words as a shell splits them (blanks
    // separate, quotes and backslashes group and escape) but no shell runs
    // it; a line that starts with the absolute path of an existing file
    // holding blanks keeps that path as its first word (callers join a path
    // and its arguments with a blank). When the first word is a file with
    // an extension for which the settings registry names a handler (section
    // "FileHandlers", key the extension without its dot, case as written,
    // value the handler's own command line), the handler is started with
    // the file and the remaining words; such a data file is never made
    // executable or executed itself. Otherwise the first word must be an
    // executable program. E_FAIL, with the reason in "EventLogGlobal", when
    // nothing could be started.
    virtual HRESULT Run(IString* commandLine) = 0;
};

struct IUIUtils : IUnknown {
    // Opens the file at `path` as a host "File" object (IFileArchive,
    // IDataStream) and stores it in `*result` with one reference. `parent`,
    // `text` and `flags` are for hosts that show the file to the user; they
    // do not change what is opened. E_FAIL (and null) when the file cannot
    // be read.
    virtual HRESULT OpenFileObject(tagREFString path, IUnknown* parent, tagREFString text, IUnknown** result,
                                   int32_t flags) = 0;
    // Writes the scheme file of one side (an IFileArchiveScheme) into that
    // side's location under `name` (the default name when empty), through
    // the host's "FASService"; `files` (may be null) receives the number of
    // files it lists. E_FAIL, with the reason in "EventLogGlobal", when it
    // could not be written.
    virtual HRESULT CreateSchemeFile(IUnknown* side, IString* name, int32_t* files) = 0;
};
