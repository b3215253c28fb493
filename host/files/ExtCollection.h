// "ExtCollection": the name patterns a folder listing keeps, each with the
// kind of entry it stands for ("File", "FileArchive", "*", ...). A listing
// selects names by the patterns (see NamePattern.h); the kinds are kept for
// the caller and do not change what is listed.
#pragma once

#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "host/base/HostObject.h"

namespace host {

struct ExtensionEntry {
    std::wstring pattern; // one pattern or a list separated by ';'
    std::wstring kind;
};

// A copy of the patterns taken when a listing starts, so that the listing
// matches names without locking the collection for each one.
class ExtensionFilter final {
public:
    ExtensionFilter() = default;
    explicit ExtensionFilter(std::vector<ExtensionEntry> entries);

    // True when there are no patterns: then every name passes.
    bool Empty() const { return m_entries.empty(); }
    // Index of the first entry whose pattern matches `name`, or -1.
    int32_t Find(std::wstring_view name) const;
    const std::vector<ExtensionEntry>& Entries() const { return m_entries; }

private:
    std::vector<ExtensionEntry> m_entries;
};

class ExtCollection final : public HostObject<IExtCollection> {
public:
    // An empty pattern is refused (E_INVALIDARG); the kind may be empty.
    HRESULT AddExtension(tagREFString pattern, tagREFString kind) override;
    HRESULT get_Count(int32_t* count) override;

    ExtensionFilter Snapshot() const;

private:
    mutable std::mutex m_lock;
    std::vector<ExtensionEntry> m_entries;
};

} // namespace host
