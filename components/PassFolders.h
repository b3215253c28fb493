// The folders the passes of a mirroring run work in, held open from the top
// folder of a pass down.
//
// A pass enters its destination folder before it writes or deletes there
// and leaves it when it returns. The top folder of a pass is opened by its
// path as the caller gave it (a link there is the caller's own choice); a
// folder below it is opened relative to the folder above, without following
// a link. Copies and deletions go through these descriptors, so a link
// planted in the destination, or a folder swapped for a link during the
// run, is never written or deleted through.
//
// A clean pass also guards its source: each level records the identity
// (device and inode) of its source folder when it starts, after checking
// that the source folders of the levels above are still theirs, and checks
// its own before every deletion. An unmounted, replaced or remounted source
// thus stops the pass just as a vanished one does.
//
// One run at a time, on the run's thread.
#pragma once

#include <deque>
#include <string>

#include "sdk/ScopedHandles.h"
#include "components/FileSystem.h"

class PassFolders final {
public:
    struct Level {
        std::wstring destination; // the destination folder's path
        std::string name;         // its name in the level above (UTF-8); empty for a top folder
        ScopedFD folder;    // not open when the folder could not be entered
        OSError error;            // why it could not
        std::string source;       // the guarded source folder of a clean pass (UTF-8)
        OSFolderIdentity sourceIdentity;
        bool guarded = false;

        int Fd() const { return folder.Get(); }
        bool Entered() const { return folder.IsOpen(); }
    };

    // Enters a destination folder for the life of the scope.
    class Scope final {
    public:
        Scope(PassFolders& folders, const CREFString& destination)
            : m_folders(folders), m_level(folders.Enter(destination)) {}
        ~Scope() { m_folders.Leave(); }
        Scope(const Scope&) = delete;
        Scope& operator=(const Scope&) = delete;

        Level& operator*() const { return m_level; }
        Level* operator->() const { return &m_level; }

    private:
        PassFolders& m_folders;
        Level& m_level;
    };

    // The level entered before the current one when the current one lies
    // right inside it, else null.
    const Level* Above() const;

    // Guards `source` as the current level's source folder. False when it is
    // no folder, when it is not the folder `expected` names (the identity the
    // run recorded at its start), or when the source of a level above is no
    // longer the folder it was.
    bool GuardSource(const CREFString& source, const OSFolderIdentity* expected);
    // Whether the current level's guarded source is still its folder: one
    // stat. True for a level that guards nothing.
    bool SourceUnchanged() const;

private:
    Level& Enter(const CREFString& destination);
    void Leave() { m_levels.pop_back(); }

    std::deque<Level> m_levels; // references stay valid as levels come and go
};
