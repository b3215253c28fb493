// Folder listings.
#pragma once

#include <cstddef>

#include "Collections.h"

enum FileAttribute : int32_t {
    FILE_ATTRIBUTE_SIZE = 1,     // bytes
    FILE_ATTRIBUTE_MODIFIED = 2, // modification time, nanoseconds since the epoch
    FILE_ATTRIBUTE_MODE = 3,     // permission and type bits
    FILE_ATTRIBUTE_FOLDER = 4,   // 1 for a folder
};

struct IFileAttributes : IUnknown {
    virtual HRESULT get_Attribute(int32_t which, int64_t* value) = 0;
};

// Patterns and kinds that a listing applies to the names it finds.
struct IExtCollection : IUnknown {
    virtual HRESULT AddExtension(tagREFString pattern, tagREFString kind) = 0;
    virtual HRESULT get_Count(int32_t* count) = 0;
};

// What a listing lists (FILENAME_OPTION_FOLDERS): files (regular files and
// links to them), sub-folders (never links), or both in one reading of the
// folder, told apart by FILE_ATTRIBUTE_FOLDER.
enum FileNameKinds : int32_t {
    FILENAME_LIST_FILES = 0,
    FILENAME_LIST_FOLDERS = 1,
    FILENAME_LIST_BOTH = 2,
};

// Listing options.
enum FileNameOption : int32_t {
    FILENAME_OPTION_FOLDERS = 11, // 1 lists sub-folders instead of files; 2 both
    // 1: an entry whose type the folder itself reports is listed without
    // reading its status, so its attributes are 0 but FILE_ATTRIBUTE_FOLDER.
    // For passes that need the names only.
    FILENAME_OPTION_NAMES_ONLY = 12,
    // Read-only facts of the last Scan, answered by get_Option:
    FILENAME_OPTION_SCAN_ERROR = 100, // the system's error number of a failed scan, else 0
    FILENAME_OPTION_WORK_FILES = 101, // copy work files found in the folder and left out
};

// The work file a copy writes before renaming it over its target: this
// prefix and kCopyWorkFileTagLength characters from [0-9a-z]. Listings leave
// such names out (they are never part of a tree), and a copy pass removes
// those that no running copy holds locked.
inline constexpr char kCopyWorkFilePrefix[] = ".shadow-partial-";
inline constexpr int kCopyWorkFileTagLength = 12;

// Whether a file name (its bytes) is a copy work file's.
inline bool IsCopyWorkFileName(const char* name, size_t length) {
    constexpr size_t prefix = sizeof kCopyWorkFilePrefix - 1;
    if (length != prefix + kCopyWorkFileTagLength) return false;
    for (size_t i = 0; i < prefix; ++i)
        if (name[i] != kCopyWorkFilePrefix[i]) return false;
    for (size_t i = prefix; i < length; ++i)
        if (!((name[i] >= '0' && name[i] <= '9') || (name[i] >= 'a' && name[i] <= 'z'))) return false;
    return true;
}

// A listing of one folder. Its entries are reached through ISuperCollection
// on the same object; each entry answers IFileArchive (its full path),
// IFileAttributes, and has the entry's name as item name.
struct IFileNameCollection : IUnknown {
    virtual HRESULT put_Folder(IString* folder) = 0;
    virtual HRESULT get_Folder(IString** folder) = 0;
    virtual HRESULT put_Extensions(IExtCollection* extensions) = 0;
    virtual HRESULT put_Option(int32_t option, int32_t value) = 0;
    virtual HRESULT get_Option(int32_t option, int32_t* value) = 0;
    // Lists the folder anew; E_FAIL when it cannot be read.
    virtual HRESULT Scan() = 0;
};
