// The name index of the host's item collections: an open-addressed hash
// table of item positions. It stores no names of its own; the caller hands a
// function that gives the name of the item at a position, so a collection of
// many items keeps each name once (in its host string) and adds eight bytes
// a slot here.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace host {

enum class NameMatch { AsciiCaseBlind, Exact };

class NameIndex final {
public:
    explicit NameIndex(NameMatch match) : m_match(match) {}

    NameMatch Matching() const { return m_match; }

    // The hash of a name under the index's matching.
    uint32_t Hash(std::wstring_view name) const {
        uint64_t h = 14695981039346656037ull; // FNV-1a over the folded code units
        for (wchar_t c : name) {
            h ^= static_cast<uint32_t>(Fold(c));
            h *= 1099511628211ull;
        }
        return static_cast<uint32_t>(h ^ (h >> 32));
    }

    bool Same(std::wstring_view a, std::wstring_view b) const {
        if (a.size() != b.size()) return false;
        if (m_match == NameMatch::Exact) return a == b;
        for (size_t i = 0; i < a.size(); ++i)
            if (Fold(a[i]) != Fold(b[i])) return false;
        return true;
    }

    void Clear() {
        m_slots.clear();
        m_used = 0;
    }

    // Makes room for `count` names without growing.
    void Reserve(size_t count) {
        if (count * 4 > m_slots.size() * 3) Rehash(Capacity(count));
    }

    // Records that the item at `position` has a name hashing to `hash`,
    // unless an earlier item has the same name: a lookup finds the first.
    template <class NameAt>
    void Insert(int32_t position, uint32_t hash, NameAt nameAt) {
        Reserve(m_used + 1);
        const std::wstring_view name = nameAt(position);
        const size_t mask = m_slots.size() - 1;
        for (size_t i = hash & mask;; i = (i + 1) & mask) {
            Slot& s = m_slots[i];
            if (s.position < 0) {
                s = Slot{position, hash};
                ++m_used;
                return;
            }
            if (s.hash == hash && Same(nameAt(s.position), name)) return;
        }
    }

    // The position of the first item of this name, or -1.
    template <class NameAt>
    int32_t Find(std::wstring_view name, NameAt nameAt) const {
        if (m_slots.empty() || name.empty()) return -1;
        const uint32_t hash = Hash(name);
        const size_t mask = m_slots.size() - 1;
        for (size_t i = hash & mask;; i = (i + 1) & mask) {
            const Slot& s = m_slots[i];
            if (s.position < 0) return -1;
            if (s.hash == hash && Same(nameAt(s.position), name)) return s.position;
        }
    }

private:
    struct Slot {
        int32_t position = -1;
        uint32_t hash = 0;
    };

    // Only 'A'..'Z' fold, and only when matching case-blind.
    wchar_t Fold(wchar_t c) const {
        return m_match == NameMatch::AsciiCaseBlind && c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c + 32) : c;
    }

    // A power of two that keeps the table at most three quarters full.
    static size_t Capacity(size_t count) {
        size_t capacity = 16;
        while (capacity * 3 < count * 4) capacity *= 2;
        return capacity;
    }

    void Rehash(size_t capacity) {
        std::vector<Slot> old(capacity);
        old.swap(m_slots);
        const size_t mask = m_slots.size() - 1;
        for (const Slot& s : old) {
            if (s.position < 0) continue;
            size_t i = s.hash & mask;
            while (m_slots[i].position >= 0) i = (i + 1) & mask;
            m_slots[i] = s;
        }
    }

    NameMatch m_match;
    std::vector<Slot> m_slots;
    size_t m_used = 0;
};

} // namespace host
