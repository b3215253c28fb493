// The byte store behind every host data stream: either a buffer of its own
// or a caller's buffer, a content length, a position, and a switch that lets
// writes extend it.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "sdk/Result.h"

namespace host {

// Rules, shared by every stream that exposes IDataStream:
// - Create over a caller's buffer: the content is that buffer's `size` bytes
//   (readable at once); writes overwrite it in place. A growable stream that
//   must go past the buffer's end copies the content into storage of its own
//   and goes on there; the caller's buffer is then left as it was at that
//   moment. A fixed one refuses the write.
// - Create without a buffer: empty content; `size` bytes are reserved and a
//   fixed stream holds at most that many.
// - Seek may go anywhere from 0 to the end of the content; beyond either end
//   it fails with E_INVALIDARG and the position stays.
// - Read copies what is left up to `size`; S_FALSE when fewer bytes than asked
//   were available.
// - Write is all or nothing: a write that a fixed stream cannot hold (or that
//   no memory can be found for) writes no byte and fails with E_FAIL. Writing in the middle overwrites, writing at
//   the end appends.
class ByteBuffer final {
public:
    ByteBuffer() = default;
    ByteBuffer(const ByteBuffer&) = delete;
    ByteBuffer& operator=(const ByteBuffer&) = delete;

    HRESULT Create(void* buffer, unsigned long size, bool growable);
    HRESULT Reset(bool clear);
    HRESULT Seek(long offset, unsigned int origin, unsigned long* position);
    HRESULT GetStream(void** data, unsigned long* size);
    HRESULT Read(void* data, unsigned int size, unsigned int* read);
    HRESULT Write(const void* data, unsigned int size, unsigned int* written);

    // Replaces the whole content with `bytes` (own, growable storage) and
    // goes back to the start.
    void Assign(std::string_view bytes);
    std::string_view View() const;
    size_t Position() const { return m_position; }

private:
    uint8_t* Data();
    const uint8_t* Data() const;
    size_t Capacity() const;
    // Makes room for `total` bytes of content; false when the stream is
    // fixed and cannot hold them.
    bool Reserve(size_t total);

    std::vector<uint8_t> m_own;
    uint8_t* m_external = nullptr; // the caller's buffer, when one is used
    size_t m_externalSize = 0;
    size_t m_length = 0;
    size_t m_position = 0;
    size_t m_limit = 0; // capacity of a fixed stream without a caller's buffer
    bool m_growable = true;
};

} // namespace host
