// Reading a folder listing made by the host's "FileNameCollection": its
// entries by index, their names, and the attributes the mirroring passes
// compare. Empty (Listed() false) when there is no listing. A pass may
// derive its own listing from it, with the scan's status and facts.
#pragma once

#include <utility>

#include "Files.h"
#include "InterfacePtr.h"
#include "InterfaceTraits.h"

class FileListing {
public:
    FileListing() = default;
    explicit FileListing(IPtr<ISuperCollection> entries) : m_entries(std::move(entries)) {}

    bool Listed() const { return static_cast<bool>(m_entries); }
    int32_t Count() const {
        int32_t count = 0;
        if (!m_entries || FAILED(m_entries->get_Count(&count))) return 0;
        return count;
    }
    IPtr<IString> Name(int32_t index) const {
        IPtr<IString> name;
        if (m_entries) m_entries->get_ItemName(index, name.Out());
        return name;
    }
    // The index of the entry of this name (matched exactly), or -1.
    int32_t Find(IString* name) const {
        int32_t index = -1;
        if (!m_entries || !name || FAILED(m_entries->get_Index(name, &index))) return -1;
        return index;
    }

    // What the passes compare of an entry, through one look-up.
    struct Facts {
        bool folder = false;
        int64_t size = 0;
        int64_t modified = 0;
    };
    Facts FactsOf(int32_t index) const {
        Facts facts;
        if (IPtr<IFileAttributes> attributes = AttributesOf(index)) {
            int64_t folder = 0;
            attributes->get_Attribute(FILE_ATTRIBUTE_FOLDER, &folder);
            attributes->get_Attribute(FILE_ATTRIBUTE_SIZE, &facts.size);
            attributes->get_Attribute(FILE_ATTRIBUTE_MODIFIED, &facts.modified);
            facts.folder = folder != 0;
        }
        return facts;
    }
    bool IsFolder(int32_t index) const {
        int64_t folder = 0;
        if (IPtr<IFileAttributes> attributes = AttributesOf(index))
            attributes->get_Attribute(FILE_ATTRIBUTE_FOLDER, &folder);
        return folder != 0;
    }

private:
    IPtr<IFileAttributes> AttributesOf(int32_t index) const {
        IPtr<IUnknown> entry;
        if (!m_entries || FAILED(m_entries->get_Item(index, entry.Out()))) return {};
        return entry.Query<IFileAttributes>();
    }

    IPtr<ISuperCollection> m_entries;
};
