// Folder listings.
#pragma once

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

// Listing options.
enum FileNameOption : int32_t {
    FILENAME_OPTION_FOLDERS = 11, // 1 lists sub-folders instead of files
};

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
